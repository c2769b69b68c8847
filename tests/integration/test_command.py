"""Arguments, messages and exit statuses."""
import os
import unittest
from pathlib import Path

from judges import Case, ZENQUOR, inspect, record, run


class Command(Case):
    def test_wrong_arguments_are_refused_with_one_sentence_before_anything_starts(self):
        out = self.folder / "out.mov"
        for arguments in (["--format", "1081p25", out], ["--codec", "zzzz", out], ["--frames", "0", out], [out, out],
                          ["--start-timecode", "25:00:00:00", out], ["--format", "1080p2997", "--start-timecode",
                                                                     "00:01:00;00", out],
                          ["--audio-channels", "3", "--audio-per-track", "2", out], ["--codec", "v210", out.with_suffix(".mp4")],
                          [self.folder / "out.avi"], ["--captions", self.folder / "none.srt", out],
                          ["--bars", "--input", "x", out], []):
            with self.subTest(arguments=arguments):
                done = record(*arguments, status=2)
                self.assertEqual(len(done.stderr.strip().splitlines()), 1, done.stderr)
                self.assertTrue(done.stderr.startswith("zenquor: "))
        self.assertEqual(list(self.folder.iterdir()), [])

    def test_caption_files_are_not_written_over_while_they_are_read_or_written(self):
        source, link, movie = self.folder / "in.scc", self.folder / "link.scc", self.folder / "out.mov"
        source.write_text("Scenarist_SCC V1.0\n\n00:00:01;00\t9420 9420 942f 942f\n")
        link.symlink_to(source)
        before = source.read_bytes()
        for arguments in (["--captions", source, "--write-captions", link],
                          ["--write-captions", self.folder / "a.mcc", "--write-anc", self.folder / "." / "a.mcc"]):
            record("--format", "720p25", "--frames", "5", *arguments, movie, status=2)
        self.assertEqual(source.read_bytes(), before)
        self.assertFalse(movie.exists())
        told = record("--format", "720p25", "--frames", "5", "--captions", source, movie).stderr
        self.assertRegex(told, r"Nothing of .* was recorded: it runs from 00:00:01:00 .*--start-timecode")

    def test_help_stands_on_every_subcommand(self):
        for arguments in ([], ["record"], ["inspect"], ["anc"]):
            self.assertIn("--help", run(ZENQUOR, *arguments, "--help").stdout)

    def test_failures_say_what_is_wrong(self):
        out = self.folder / "out.mov"
        text = self.folder / "text.txt"
        text.write_text("no movie")
        binary = self.folder / "binary.srt"
        binary.write_bytes(os.urandom(5000))
        empty = self.folder / "empty.srt"
        empty.touch()
        for arguments, word in (([ "--input", self.folder / "none.mp4", out], "none.mp4"), (["--input", text, out], "text.txt"),
                                (["--codec", "drx1", "--frames", "5", out], "codec"), (["--captions", binary, out], "binary.srt"),
                                (["--captions", empty, out], "empty.srt"), ([Path("/nowhere/out.mov")], "/nowhere")):
            with self.subTest(arguments=arguments):
                done = record(*arguments, status=1)
                complaints = [line for line in done.stderr.splitlines() if line.startswith("zenquor: ")]
                self.assertEqual(len(complaints), 1, done.stderr)
                self.assertIn(word, complaints[0])
        self.assertFalse(out.exists())
        self.assertIn("text.txt", run(ZENQUOR, "inspect", text, status=1).stderr)
        self.assertIn("none", run(ZENQUOR, "anc", self.folder / "none", status=1).stderr)

    def test_a_subtitle_file_broken_half_way_gives_the_captions_before_the_break(self):
        srt = self.folder / "half.srt"
        srt.write_text("1\n00:00:00,500 --> 00:00:01,000\nGood\n\n2\n00:00:bad --> 00:00:02,000\nBad\n")
        out = self.folder / "out.mov"
        record("--format", "720p25", "--frames", "40", "--captions", srt, out)
        self.assertIn("End Of Caption", run(ZENQUOR, "anc", out).stdout)

    def test_an_existing_file_is_left_alone_and_the_recording_numbered(self):
        out = self.folder / "out.mov"
        out.write_text("precious")
        done = record("--format", "720p25", "--frames", "5", out)
        self.assertEqual(out.read_text(), "precious")
        others = [p for p in self.folder.iterdir() if p != out]
        self.assertEqual(len(others), 1)
        self.assertIn(str(others[0]), done.stdout)
        self.assertEqual(inspect(others[0])["faults"], [])


if __name__ == "__main__":
    unittest.main()
