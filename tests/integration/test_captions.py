"""Subtitle text through a recording and back out by an independent reader."""
import json
import re
import unittest

from judges import Case, ZENQUOR, inspect, record, run

SUBTITLES = """1
00:00:01,000 --> 00:00:02,500
Hello, world.

2
00:00:03,000 --> 00:00:04,500
Two lines of text:
don't lose either.

3
00:00:04,520 --> 00:00:06,000
Caf\u00e9 at 10:30 (100 %)
"""


def seconds(text):
    hours, minutes, rest = re.match(r"(\d+):(\d+):([\d,]+)", text).groups()
    return int(hours) * 3600 + int(minutes) * 60 + float(rest.replace(",", "."))


def cues(srt):
    """(in, out, words) of each cue; markup, positions and the shape of quotes are the reader's own."""
    result = []
    for block in re.split(r"\n\s*\n", srt.strip()):
        lines = block.splitlines()
        start, end = re.split(r"\s+-->\s+", lines[1])
        text = re.sub(r"<[^>]*>|\{[^}]*\}|\\h", "", "\n".join(lines[2:])).replace("\u2019", "'")
        result.append((seconds(start), seconds(end), "\n".join(" ".join(line.split()) for line in text.splitlines())))
    return result


class Captions(Case):
    def record_with_captions(self, form, *arguments):
        srt = self.folder / "in.srt"
        srt.write_text(SUBTITLES, encoding="utf-8")
        path = self.folder / f"{form}.mov"
        record("--format", form, "--codec", "avc1", "--duration", "8", "--captions", srt, *arguments, path)
        return path

    def test_ffmpeg_reads_the_text_at_its_times(self):
        for form in ("720p25", "720p2997", "720p5994"):
            with self.subTest(format=form):
                path = self.record_with_captions(form)
                out = run("ffmpeg", "-v", "error", "-i", path, "-map", "0:s:0", "-f", "srt", "-").stdout
                wanted, got = cues(SUBTITLES), cues(out)
                self.assertEqual([text for _, _, text in got], [text for _, _, text in wanted])
                for (start, end, _), (real_start, real_end, _) in zip(wanted, got):
                    # Two pairs to flip or to clear, and the loading of a caption that follows at once.
                    self.assertAlmostEqual(real_start, start, delta=1.0 if start > 4.5 else 0.15)
                    self.assertAlmostEqual(real_end, end, delta=1.0 if end > 4.4 else 0.15)

    def test_a_c708_track_holds_one_sound_packet_a_frame(self):
        path = self.record_with_captions("720p50", "--caption-track", "c708")
        facts = inspect(path)
        self.assertEqual(facts["captions"]["c708 packets"], 400)
        self.assertEqual(facts["faults"], [])
        lines = [json.loads(line) for line in run(ZENQUOR, "anc", "--json", path).stdout.splitlines()]
        self.assertEqual([line["frame"] for line in lines], list(range(400)))
        self.assertEqual({(line["did"], line["sdid"]) for line in lines}, {(0x61, 0x01)})
        counters = [int(line["data"][10:14], 16) for line in lines]
        self.assertEqual(counters, list(range(counters[0], counters[0] + 400)))

    def test_every_channel_can_be_chosen(self):
        for channel in (2, 3, 4):
            path = self.record_with_captions("720p25", "--caption-channel", channel)
            text = run(ZENQUOR, "anc", path).stdout
            self.assertRegex(text, rf"CEA608 channel {channel - 1} [0-9a-f]{{4}} Control Code ")
            path.unlink()


if __name__ == "__main__":
    unittest.main()
