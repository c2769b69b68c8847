"""Recordings that end otherwise than planned stay readable."""
import os
import random
import re
import resource
import signal
import subprocess
import time
import unittest

from judges import Case, ZENQUOR, decode_warnings, ffprobe, inspect, packet_counts, run

SETUPS = [
    (["--codec", "v210", "--format", "625i50", "--audio-channels", "8", "--audio-bits", "24"], 25),
    (["--codec", "avc1", "--format", "720p25"], 25),
]


class Crashes(Case):
    def start(self, path, arguments):
        srt = self.folder / "in.srt"
        srt.write_text("1\n00:00:01,000 --> 00:59:00,000\nOn air\n", encoding="utf-8")
        return subprocess.Popen([ZENQUOR, "record", "--realtime", "--captions", srt, *arguments, path],
                                stderr=subprocess.PIPE, text=True)

    def test_a_killed_recording_holds_what_was_reported_five_seconds_before(self):
        generator = random.Random(int(os.environ.get("ZENQUOR_SEED", time.time_ns())))
        for arguments, rate in SETUPS:
            seconds = generator.uniform(8, 11)
            with self.subTest(arguments=arguments, seconds=seconds):
                path = self.folder / "killed.mov"
                process = self.start(path, arguments)
                started = time.monotonic()
                reports = []
                while time.monotonic() - started < seconds:
                    os.set_blocking(process.stderr.fileno(), False)
                    line = process.stderr.readline()
                    report = re.search(r"frame (\d+)", line or "")
                    if report:
                        reports.append((time.monotonic(), int(report.group(1))))
                    elif not line:
                        time.sleep(0.02)
                process.kill()
                process.wait()
                process.stderr.close()
                killed = started + seconds
                promised = max((frames for when, frames in reports if when <= killed - 5), default=0)
                self.assertGreater(promised, 0)
                for index, (kind, packets, stream) in packet_counts(path).items():
                    if kind == "audio":
                        held = float(stream.get("duration", 0)) or packets * 1024 / 48000
                        self.assertGreaterEqual(held, promised / rate - 0.05, stream)
                    else:
                        self.assertGreaterEqual(packets, promised, (index, kind))
                self.assertTrue(inspect(path)["fragmented"])
                path.unlink()

    def test_a_file_that_may_not_grow_fails_clearly_and_stays_readable(self):
        path = self.folder / "full.mov"
        limit = 60 * 1024 * 1024
        done = run(ZENQUOR, "record", "--codec", "v210", "--format", "625i50", "--audio-channels", "8", "--frames", "300", path,
                   status=1,
                   preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit)))
        self.assertRegex(done.stderr, r"(?i)full|space|large|grow")
        self.assertNotIn("Traceback", done.stderr)
        probe = ffprobe(path, "-count_packets")
        self.assertGreater(int(probe["streams"][0]["nb_read_packets"]), 20)
        self.assertEqual(decode_warnings(path), [])

    def test_the_interrupt_key_ends_a_recording_cleanly(self):
        path = self.folder / "interrupted.mov"
        process = self.start(path, SETUPS[0][0])
        time.sleep(2.5)
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(timeout=30), 0)
        process.stderr.close()
        facts = inspect(path)
        self.assertEqual((facts["fragmented"], facts["faults"]), (False, []))
        self.assertGreater(facts["timecode"]["frames"], 25)


if __name__ == "__main__":
    unittest.main()
