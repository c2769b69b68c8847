"""Caption files into one another, judged by ffmpeg's readers and by what a viewer sees."""
import json
import os
import unittest

from captionfiles import SUBTITLES, cues, mcc, scc, stl
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

    def test_accents_written_apart_arrive_on_their_letters(self):
        self.srt.write_text("1\n00:00:01,000 --> 00:00:04,000\nCafe\u0301, an\u0303o\n", encoding="utf-8")
        for arguments in ([], ["--output", "op47", "--language", "por"]):
            text = cues(self.convert(self.srt, "out.srt", *arguments).read_text(encoding="utf-8"))[0][2]
            self.assertEqual(text, "Caf\u00e9, a\u00f1o")

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

    def test_captions_that_are_lost_are_told(self):
        block = "{0}\n00:00:0{0},{1} --> 00:00:0{0},900\nNumber {0}\n\n"
        path = self.folder / "in.scc"
        for lines, words in (
                (["00:00:08;00\t9420 9420 94ae 94ae 9470 9470 c861 e980 942f 942f", "00:00:10;00\t94zz",
                  "00:00:12;00\t942c 942c"], "Caption lines behind it: 1"),
                (["00:00:08;00\t9420 9420 942f 942f", "00:00:02;00\t942c 942c"], "run backwards in time (1)"),
                (["00:00:08;00\t9420 9420 942f 942f", "00:00:08;03\t942c 942c"], "before has been sent")):
            path.write_text(scc(lines))
            self.assertIn(words, captions(path, self.folder / "out.mcc").stdout)
        self.srt.write_text(block.format(1, "000") + block.format(2, "00") + block.format(3, "000"))
        self.assertIn("2 of 3 subtitles could not be read", captions(self.srt, self.folder / "out.mcc").stdout)
        for content, words in ((SUBTITLES.replace("\n", "\r").encode(), "tr '\\r' '\\n'"),
                               (SUBTITLES.encode("utf-16"), "iconv -f UTF-16")):
            self.srt.write_bytes(content)
            self.assertIn(words, captions(self.srt, self.folder / "out.srt", status=1).stderr)
        self.srt.write_bytes(SUBTITLES.encode("latin-1"))
        self.assertIn("not UTF-8 but an older encoding", captions(self.srt, self.folder / "out.srt").stdout)

    def test_what_one_field_or_channel_cannot_hold_is_told(self):
        path, out = self.folder / "in.mcc", self.folder / "out.scc"
        first = "9420 9420 9470 9470 C861 E980 942F 942F".split()
        second = "1520 1520 1570 1570 C8EF EC61 152F 152F".split()
        path.write_text(mcc(zip(first, second)))
        for channel, pairs in ((1, first), (3, second)):
            report = captions(path, out, "--channel", channel).stdout
            self.assertIn("8 byte pairs of field", report)
            self.assertIn("no digital captions (CEA-708): those of 8 packets", report)
            self.assertEqual(out.read_text(), scc(["00:00:01;00\t" + " ".join(pairs)]))
        report = captions(path, self.folder / "out.srt").stdout
        self.assertIn("Channel 3 shows 1 captions too", report)
        self.assertEqual([text for _, _, text in cues((self.folder / "out.srt").read_text())], ["Hai"])
        self.assertIn("CEA-708", captions(path, self.folder / "out.mcc", "--rate", "25").stdout)
        self.assertNotIn("CEA-708", captions(path, self.folder / "out.mcc").stdout)

    def test_captions_are_played_past_midnight_and_for_a_whole_day(self):
        text = "9420 9420 94ae 94ae 9470 9470 c861 e980 942f 942f"
        path = self.folder / "in.scc"
        path.write_text(scc([f"23:59:58;00\t{text}", "00:00:01;00\t942c 942c", f"00:00:02;00\t{text}", "00:00:03;00\t942c 942c"]))
        self.assertNotIn("Not played", captions(path, self.folder / "in.mcc").stdout)
        for name in ("in.scc", "in.mcc"):
            got = cues(self.convert(self.folder / name, "back.srt").read_text())
            self.assertEqual([(int(start), int(end), words) for start, end, words in got], [(86398, 1, "Hai"), (2, 3, "Hai")])
        path.write_text(scc([f"00:00:08;00\t{text}", "00:00:10;00\t942c 942c", f"15:00:02;00\t{text}", "15:00:03;00\t942c 942c"]))
        for arguments in ([], ["--rate", "25"]):
            got = cues(self.convert(path, "back.srt", *arguments).read_text())
            self.assertEqual([int(start) for start, _, _ in got], [8, 54002], arguments)

    def test_times_of_stl_count_from_the_start_of_the_programme(self):
        data = bytearray(stl([("09:59:50:00", "09:59:52:00", ["Leader"]), ("10:00:01:00", "10:00:02:00", ["Guten Abend"])]))
        data[256:264] = b"10000000"
        path = self.folder / "in.stl"
        path.write_bytes(data)
        for action, starts in (("keep", [35990, 36001]), ("subtract", [1])):
            done = captions(path, self.folder / "out.srt", "--output", "op47", "--programme-start", action)
            self.assertEqual([start for start, _, _ in cues((self.folder / "out.srt").read_text())], starts)
            self.assertEqual("1 subtitles before that were left out" in done.stdout, action == "subtract")

    def test_colours_are_read_as_people_write_them(self):
        lines = {'<font color="#FF0000">Red</font> white': '<font color="FF0000">Red</font> white',
                 '<font color="Cyan">Cy</font> <font color="00ff00">Gr</font>':
                     '<font color="00FFFF">Cy</font> <font color="00FF00">Gr</font>',
                 "so <font color=#FFFF00>bare</font> it <i>is</i>": 'so <font color="FFFF00">bare</font> it is',
                 '<font face="Arial" color="aqua"><b>It</b></font> is': '<font color="00FFFF">It</font> is'}
        self.srt.write_text("".join(f"{n}\n00:00:0{n},000 --> 00:00:0{n},500\n{line}\n\n" for n, line in enumerate(lines, 1)))
        self.convert(self.srt, "out.srt", "--output", "op47")
        got = (self.folder / "out.srt").read_text().replace("\r", "").split("\n\n")
        self.assertEqual([block.split("\n")[2] for block in got if block], list(lines.values()))

    def test_long_lines_take_as_many_rows_as_there_are(self):
        long = "This is one single long line of text as many people write them, which takes four rows of a caption"
        self.srt.write_text(f'1\n00:00:04,000 --> 00:00:08,000\n{long}\n\n2\n00:00:09,000 --> 00:00:12,000\n'
                            '- <font color="red">A long red line that has to be wrapped</font> and a white text\n- Yes.\n')
        for arguments, rows in (([], 4), (["--output", "op47", "--rate", "25"], 3)):
            text = self.convert(self.srt, "out.srt", *arguments).read_text().replace("\r", "")
            (_, _, first), (_, _, second) = cues(text)
            self.assertEqual(first.replace("\n", " "), long)
            self.assertEqual(first.count("\n") + 1, rows)
            self.assertEqual(second.replace("\n", " "), "- A long red line that has to be wrapped and a white text - Yes.")
            self.assertTrue(second.endswith("\n- Yes."), second)
        self.assertIn('<font color="FF0000">wrapped</font> and a white text', text)

    def test_wrong_arguments_and_files_are_refused(self):
        full, pipe = self.folder / "full.srt", self.folder / "pipe.srt"
        full.symlink_to("/dev/full")
        os.mkfifo(pipe)
        for arguments, words, status in (
                ([self.srt], "Give a file to write", 2),
                ([self.srt, self.folder / "out.stl"], "must end in .srt, .scc or .mcc", 2),
                ([self.srt, self.folder / "out.mcc", "--output", "op47"], "carry captions, not OP-47", 2),
                ([self.srt, self.srt], "same file", 2),
                ([self.srt, self.folder / "out.scc", "--language", "xx1"], "There is no language", 2),
                ([self.srt, self.folder / "no" / "out.scc"], "there is no folder", 1),
                ([self.srt, self.folder / "no" / "out.srt"], "there is no folder", 1),
                ([self.srt, full], "cannot be written", 1),
                ([pipe, self.folder / "out.srt"], "is a pipe or a device", 1),
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
