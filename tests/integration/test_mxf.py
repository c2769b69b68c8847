"""MXF recordings of every family of codecs, as independent programs see them, and their ancillary data packet by packet."""
import json
import os
import random
import subprocess
import time
import unittest
from fractions import Fraction

from captionfiles import SUBTITLES, cues
from judges import (SHARED, ZENQUOR, Case, decode_warnings, discoverer_seconds, ffprobe, inspect, mediainfo, record, run,
                    streams)
from mxfwalk import ancillary, elements, partitions

# codec, format, frames, channels, bits, start timecode, (codec for ffprobe, width, height, rate)
RECORDINGS = [
    ("apch", "1080p25", 12, 4, 24, "10:00:00:00", ("prores", 1920, 1080, "25/1")),
    ("xd5c", "1080i50", 40, 8, 24, "09:59:59:20", ("mpeg2video", 1920, 1080, "25/1")),
    ("xd59", "720p5994", 60, 2, 16, "00:00:59;50", ("mpeg2video", 1280, 720, "60000/1001")),
    ("xdv2", "1080i5994", 40, 2, 16, "00:00:59;20", ("mpeg2video", 1440, 1080, "30000/1001")),
    ("mx5p", "625i50", 25, 4, 24, "10:00:00:00", ("mpeg2video", 720, 608, "25/1")),
    ("mx3n", "525i5994", 30, 8, 16, "01:00:00;00", ("mpeg2video", 720, 512, "30000/1001")),
    ("dvcp", "625i50", 25, 2, 16, "10:00:00:00", ("dvvideo", 720, 576, "25/1")),
    ("dvh5", "1080i50", 12, 4, 16, "10:00:00:00", ("dvvideo", 1440, 1080, "25/1")),
    ("ai15", "1080i50", 12, 8, 24, "10:00:00:00", ("h264", 1920, 1080, "25/1")),
    ("ai5q", "720p50", 12, 2, 24, "10:00:00:00", ("h264", 960, 720, "50/1")),
    ("xv00", "1080p50", 60, 2, 24, "10:00:00:00", ("h264", 1920, 1080, "50/1")),
    ("d7x1", "720p50", 12, 2, 24, "10:00:00:00", ("dnxhd", 1280, 720, "50/1")),
    ("hrlb", "2160p25", 4, 2, 24, "10:00:00:00", ("dnxhd", 3840, 2160, "25/1")),
    ("rhqx", "1080p2398", 12, 2, 24, "00:00:00:00", ("dnxhd", 1920, 1080, "24000/1001")),
]


def subtitles(folder):
    path = folder / "in.srt"
    path.write_text(SUBTITLES, encoding="utf-8")
    return path


def listed(path, *arguments):
    """(frame, line, did, sdid, data) of every packet that the command lists."""
    lines = [json.loads(line) for line in run(ZENQUOR, "anc", "--json", "--packets-only", *arguments, path).stdout.splitlines()]
    return [(p["frame"], p["line"], p["did"], p["sdid"], p["data"].lower()) for p in lines if "data" in p]


def picture_sums(path, *options):
    text = run("ffmpeg", "-v", "error", *options, "-i", path, "-map", "0:v:0", "-f", "framemd5", "-").stdout
    return [line.split(",")[-1].strip() for line in text.splitlines() if not line.startswith("#")]


class MXFRecordings(Case):
    def test_every_judge_sees_what_was_recorded(self):
        for codec, form, frames, channels, bits, start, expected in RECORDINGS:
            with self.subTest(codec=codec, format=form):
                path = self.folder / f"{codec}.mxf"
                record("--format", form, "--codec", codec, "--frames", frames, "--audio-channels", channels, "--audio-bits",
                       bits, "--start-timecode", start, "--reel", "REEL7", "--captions", subtitles(self.folder), path)
                self.judge(path, frames, channels, start, expected)
                path.unlink()

    def judge(self, path, frames, channels, start, expected):
        name, width, height, rate = expected
        probe = ffprobe(path, "-count_packets")
        video, = streams(probe, "video")
        self.assertEqual((video["codec_name"], video["width"], video["height"], video["r_frame_rate"]),
                         (name, width, height, rate))
        self.assertEqual(int(video["nb_read_packets"]), frames)
        if height == 2160:
            self.assertEqual((video["color_space"], video["color_primaries"]), ("bt2020nc", "bt2020"))
        seconds = float(frames / Fraction(rate))
        self.assertAlmostEqual(float(probe["format"]["duration"]), seconds, delta=0.05)
        self.assertEqual(probe["format"]["tags"]["timecode"], start)
        self.assertEqual(sum(s["channels"] for s in streams(probe, "audio")), channels)
        self.assertEqual(decode_warnings(path), [])
        sums = picture_sums(path)
        self.assertEqual(len(sums), frames)
        for frame in (1, frames // 2, frames - 2):
            at = (frame + 0.01) / Fraction(rate)
            self.assertEqual(picture_sums(path, "-ss", f"{float(at):.6f}")[0], sums[frame] if frame else None, frame)
        if height != 1080 or name != "dvvideo":  # GStreamer does not decode DVCPRO HD
            self.assertAlmostEqual(discoverer_seconds(path), seconds, delta=0.05)
        general, = [t for t in mediainfo(path) if t["@type"] == "General"]
        self.assertEqual((general["Format"], general["FrameCount"]), ("MXF", str(frames)))
        facts = inspect(path)
        self.assertEqual((facts["faults"], facts["growing"], facts["frames"]), ([], False, frames))
        self.assertEqual((facts["timecode"]["first"], facts["timecode"]["reel"]), (start, "REEL7"))
        self.assertEqual(len(ancillary(path)), frames)
        checker = SHARED / "checks" / "mxfcheck.py"
        if checker.exists():
            run("python3", checker, path)

    def test_packets_come_back_one_by_one_beside_a_movie(self):
        for codec in ("apco", "xd5c"):
            with self.subTest(codec=codec):
                mov, mxf, mcc = (self.folder / f"{codec}.{kind}" for kind in ("mov", "mxf", "mcc"))
                record("--format", "1080i50", "--codec", codec, "--frames", 60, "--start-timecode", "10:00:00:00",
                       "--captions", subtitles(self.folder), "--cue", "10:00:01:00:splice-start,event=7,preroll=2000",
                       "--write-anc", mcc, mov, mxf)
                given = [(frame, did, sdid, data) for frame, _, did, sdid, data in listed(mcc)]
                walked = ancillary(mxf)
                self.assertEqual([(frame, did, sdid, data) for frame, packets in enumerate(walked)
                                  for _, did, sdid, data in packets], given)
                self.assertEqual([(frame, *packet) for frame, packets in enumerate(walked) for packet in packets],
                                 listed(mxf))
                self.assertEqual(sum(did == 0x41 for _, did, _, _ in given), 1)
                self.assertGreater(sum(did == 0x61 for _, did, _, _ in given), 50)
                video, = streams(ffprobe(mov, "-count_packets"), "video")
                self.assertEqual(video["nb_read_packets"], "60")
                self.assertEqual(inspect(mov)["faults"], [])

    def test_captions_and_subtitles_are_read_as_text(self):
        for kind in ("cea608", "op47"):
            with self.subTest(kind=kind):
                path, srt = self.folder / f"{kind}.mxf", self.folder / f"{kind}.srt"
                record("--format", "720p25", "--codec", "apco", "--frames", 275, "--start-timecode", "00:00:00:00",
                       "--captions", subtitles(self.folder), "--caption-output", kind, "--caption-language", "fra", path)
                run(ZENQUOR, "captions", path, srt, "--output", kind)
                wanted = [words for _, _, words in cues(SUBTITLES)]
                self.assertEqual([words for _, _, words in cues(srt.read_text("utf-8"))], wanted)
                again = self.folder / "again.mxf"
                record("--format", "720p25", "--codec", "apco", "--frames", 275, "--start-timecode", "00:00:00:00",
                       "--captions", path, again)
                self.assertEqual(listed(again), listed(path))
                if kind == "cea608":
                    extracted = run("ffmpeg", "-v", "error", "-eia608_extract", "1", "-i", path, "-map", "0:s", "-f", "srt",
                                    "-").stdout
                    self.assertEqual([words for _, _, words in cues(extracted)], wanted)
                again.unlink()

    def test_headers_and_partitions_are_closed_as_the_codec_wants(self):
        for codec, form, closed in (("apco", "720p25", True), ("xd5a", "720p50", False)):
            with self.subTest(codec=codec):
                path = self.folder / f"{codec}.mxf"
                record("--format", form, "--codec", codec, "--duration", 21, path)
                found = partitions(path.read_bytes())
                self.assertEqual(found[0][1:], (2, 4) if closed else (2, found[0][2]))
                self.assertEqual(found[0][2] in (2, 4), closed)
                self.assertEqual(found[-1][1:], (4, 4))
                self.assertGreaterEqual(sum(kind == 3 for _, kind, _ in found), 3)
                self.assertEqual(inspect(path)["faults"], [])

    def test_what_an_mxf_does_not_take_is_refused_at_once(self):
        path = self.folder / "no.mxf"
        done = record("--codec", "avc1", "--frames", 5, path, status=2)
        self.assertRegex(done.stderr, "an .mxf does not take avc1")
        self.assertFalse(path.exists())


def whole_frames(path):
    """Pictures in the partitions that are followed by another on the disk."""
    data = path.read_bytes() if path.exists() else b""
    packs = partitions(data)
    return len(elements(data[:packs[-1][0]], 0x17, 0x02)) if packs else 0


def readable_frames(path):
    """What ffprobe and the command can read of a file that nobody has closed."""
    probe = run("ffprobe", "-v", "quiet", "-of", "json", "-count_packets", "-show_streams", path)
    video, = streams(json.loads(probe.stdout), "video")
    return int(video["nb_read_packets"]), inspect(path)["frames"]


class GrowingFiles(Case):
    ARGUMENTS = ["--format", "625i50", "--codec", "dvcp", "--audio-channels", "4", "--captions"]

    def start(self, path, *arguments):
        return subprocess.Popen([ZENQUOR, "record", *self.ARGUMENTS, subtitles(self.folder), *arguments, path],
                                stderr=subprocess.DEVNULL)

    def test_a_growing_file_shows_all_whole_partitions(self):
        path = self.folder / "growing.mxf"
        process = self.start(path, "--duration", "150", "--refresh-header")
        looks = 0
        while process.poll() is None:
            whole = whole_frames(path)
            if whole:
                self.assertGreaterEqual(min(readable_frames(path)), whole)
                self.assertGreaterEqual(len(listed(path)), whole)
                looks += 1
            time.sleep(0.05)
        self.assertEqual(process.returncode, 0)
        self.assertGreater(looks, 2)
        self.assertEqual(set(readable_frames(path)), {150 * 25})

    def test_a_killed_recording_holds_all_whole_partitions(self):
        generator = random.Random(int(os.environ.get("ZENQUOR_SEED", time.time_ns())))
        survivors = 0
        for number in range(int(os.environ.get("ZENQUOR_KILLS", "4"))):
            seconds = generator.uniform(2, 6)
            with self.subTest(seconds=seconds):
                path = self.folder / f"killed{number}.mxf"
                process = self.start(path)
                time.sleep(seconds)
                process.kill()
                process.wait()
                if not whole_frames(path):
                    continue
                survivors += 1
                self.assertGreaterEqual(min(readable_frames(path)), whole_frames(path))
                self.assertTrue(inspect(path)["growing"])
                path.unlink()
        self.assertGreater(survivors, 0)


class ForeignFiles(Case):
    """Files that other programs wrote."""

    def test_their_ancillary_data_plays_out(self):
        for name in ("bmx_op1a_proreshq_1080p25_anc.mxf", "gst_mxfmux_mpeg2_pcm_vanc.mxf", "bmx_op1a_mpeg2_vbi.mxf"):
            path = SHARED / "media" / name
            if not path.exists():
                self.skipTest("the folder of foreign files is not there")
            with self.subTest(name=name):
                facts = inspect(path)
                count = int(streams(ffprobe(path, "-count_packets"), "video")[0]["nb_read_packets"])
                self.assertEqual(facts["frames"], count)
                walked = [(frame, line, did, sdid, data) for frame, packets in enumerate(ancillary(path))
                          for line, did, sdid, data in packets]
                self.assertEqual(listed(path), walked)

    def test_files_of_ffmpeg_are_read(self):
        path = self.folder / "ffmpeg.mxf"
        run("ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=s=1280x720:r=25:d=2", "-f", "lavfi", "-i",
            "sine=f=440:d=2:r=48000", "-c:v", "mpeg2video", "-b:v", "20M", "-bf", "2", "-timecode", "01:02:03:04", "-c:a",
            "pcm_s16le", path)
        facts = inspect(path)
        self.assertEqual((facts["frames"], facts["timecode"]["first"]), (50, "01:02:03:04"))
        self.assertEqual([track["kind"] for track in facts["tracks"]], ["video", "audio"])
        self.assertEqual(listed(path), [])
        cut = self.folder / "cut.mxf"
        cut.write_bytes(path.read_bytes()[:path.stat().st_size // 2])
        half = inspect(cut)
        self.assertEqual(half["frames"], len(elements(cut.read_bytes(), 0x15, 0x05)))
        self.assertRegex(" ".join(half["faults"]), "The end of the file is missing")


if __name__ == "__main__":
    unittest.main()
