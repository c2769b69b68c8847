"""Caption files into one another, judged by ffmpeg's readers and by what a viewer sees."""
import json
import unittest

from captionfiles import SUBTITLES, cues, scc, stl
from judges import Case, ZENQUOR, run

# 720p: one pair a frame. A flip or an erasure takes two, and loading a caption that follows at once up to its length.
SOON = 0.15


def captions(*arguments, status=0):
    return run(ZENQUOR, "captions", *arguments, status=status)


class Conversion(Case):
    def setUp(self):
        super().setUp()
        self.srt = self.folder / "in.srt"
        self.srt.write_text(SUBTITLES, encoding="utf-8")

    def convert(self, source, name, *arguments):
        captions(source, self.folder / name, *arguments)
        return self.folder / name

    def assert_seen(self, path, wanted=SUBTITLES):
        wanted, got = cues(wanted), cues(path.read_text(encoding="utf-8-sig"))
        self.assertEqual([text for _, _, text in got], [text for _, _, text in wanted])
        for (start, end, _), (real_start, real_end, _) in zip(wanted, got):
            self.assertAlmostEqual(real_start, start, delta=1.0 if start == 4.52 else SOON)
            self.assertAlmostEqual(real_end, end, delta=1.0 if end == 4.5 else SOON)

    def test_subtitles_come_back_from_caption_files_of_every_rate(self):
        for kind, rate in (("scc", "2997"), ("mcc", "2398"), ("mcc", "24"), ("mcc", "25"), ("mcc", "2997"), ("mcc", "50"),
                           ("mcc", "5994"), ("scc", "25")):
            with self.subTest(kind=kind, rate=rate):
                file = self.convert(self.srt, f"out.{kind}", "--rate", rate)
                self.assert_seen(self.convert(file, "back.srt"))

    def test_ffmpeg_reads_what_is_written(self):
        path = self.convert(self.srt, "out.scc")
        by_ffmpeg = self.folder / "ffmpeg.srt"
        run("ffmpeg", "-v", "error", "-y", "-i", path, "-f", "srt", by_ffmpeg)
        self.assert_seen(by_ffmpeg)
        back = self.convert(path, "back.srt")
        again = run("ffmpeg", "-v", "error", "-i", back, "-f", "srt", "-").stdout
        self.assertEqual(cues(again), cues(back.read_text(encoding="utf-8")))

    def test_packets_stay_as_they_are_between_caption_files(self):
        first = self.convert(self.srt, "first.scc")
        second = self.convert(self.convert(first, "first.mcc"), "second.scc")
        self.assertEqual(second.read_text(), first.read_text())
        # At a rate of its own an MCC file keeps its pairs and their frames too.
        slow = self.convert(self.srt, "slow.mcc", "--rate", "25")
        pairs = [self.pairs(path) for path in (slow, self.convert(slow, "slow-again.mcc"))]
        self.assertEqual(pairs[0], pairs[1])
        self.assertGreater(len(pairs[0]), 40)

    def pairs(self, path):
        lines = [json.loads(line) for line in run(ZENQUOR, "anc", "--json", path).stdout.splitlines()]
        return [(line["timecode"], line["data"][18:24]) for line in lines if "did" in line and line["data"][18:24] != "FC8080"]

    def test_stl_becomes_teletext_and_captions(self):
        blocks = [("10:00:01:00", "10:00:03:00", ["Guten Abend,", "meine Damen"]),
                  ("10:00:04:00", "10:00:06:00", ["und meine Herren."])]
        path = self.folder / "in.stl"
        path.write_bytes(stl(blocks))
        wanted = [(36001.0, 36003.04, "Guten Abend,\nmeine Damen"), (36004.0, 36006.04, "und meine Herren.")]
        for arguments in (["--output", "op47"], []):
            got = cues(self.convert(path, "out.srt", *arguments).read_text(encoding="utf-8"))
            self.assertEqual([text for _, _, text in got], [text for _, _, text in wanted])
            for (start, end, _), (real_start, real_end, _) in zip(wanted, got):
                self.assertAlmostEqual(real_start, start, delta=0.01 if arguments else SOON)
                self.assertAlmostEqual(real_end, end, delta=0.01 if arguments else SOON)

    def test_what_does_not_fit_is_told(self):
        rows = "\n".join(f"Row {n}" for n in range(1, 7))
        self.srt.write_text(f"1\n00:00:01,000 --> 00:00:04,000\n{rows}\n\n2\n00:00:05,000 --> 00:00:06,000\n"
                            "\u0141\u00f3d\u017a \u2014 <i>so</i>\n", encoding="utf-8")
        for output, fits in (("cea608", 4), ("op47", 3)):
            report = captions(self.srt, self.folder / "out.srt", "--output", output, "--rate", "25").stdout
            self.assertIn(f"needs 6 rows, {fits} fit", report)
            self.assertIn(f"Row {fits}", (self.folder / "out.srt").read_text())
            self.assertNotIn(f"Row {fits + 1}", (self.folder / "out.srt").read_text())
        self.assertIn("2 tags", report)
        report = captions(self.srt, self.folder / "out.scc").stdout
        self.assertIn("\u0141 by L (1 times)", report)

    def test_wrong_arguments_and_files_are_refused(self):
        for arguments, words, status in (
                ([self.srt], "Give a file to write", 2),
                ([self.srt, self.folder / "out.stl"], "must end in .srt, .scc or .mcc", 2),
                ([self.srt, self.folder / "out.mcc", "--output", "op47"], "carry captions, not OP-47", 2),
                ([self.srt, self.srt], "same file", 2),
                ([self.srt, self.folder / "out.scc", "--language", "xx1"], "There is no language", 2),
                ([self.srt, self.folder / "no" / "out.scc"], "cannot be written", 1),
                ([self.srt, "/dev/full"], "must end in", 2)):
            done = captions(*arguments, status=status)
            self.assertIn(words, done.stderr)
        empty = self.folder / "empty.scc"
        empty.write_text("Scenarist_SCC V1.0\n")
        self.assertIn("holds no readable caption", captions(empty, self.folder / "out.srt", status=1).stderr)

    def test_the_check_tells_places_and_faults(self):
        path = self.folder / "bad.scc"
        path.write_text(scc(["00:00:01;00\t9420 9420 94ae 94ae 9470 9470 c861 e980 942f 942f",
                             "00:00:01;04\t942c 942c", "00:00:05;40\t942c 942c", "00:00:06;00\t942c 94zz"]))
        report = json.loads(captions("--check", "--json", path, status=1).stdout)
        kinds = {remark["kind"] for remark in report["remarks"]}
        self.assertLessEqual({"timing", "timecode", "parity"} & kinds, kinds)
        self.assertTrue({"timecode", "format"} <= kinds, report)
        sound = self.convert(self.srt, "sound.scc")
        self.assertIn("Nothing to remark", captions("--check", sound).stdout)


if __name__ == "__main__":
    unittest.main()
