"""Subtitle text through a recording and back out by an independent reader."""
import json
import unittest

from captionfiles import SUBTITLES, cues, stl
from judges import Case, ZENQUOR, inspect, mediainfo, record, run


class Captions(Case):
    def record_with_captions(self, form, *arguments):
        srt = self.folder / "in.srt"
        srt.write_text(SUBTITLES, encoding="utf-8")
        path = self.folder / f"{form}.mov"
        record("--format", form, "--codec", "avc1", "--duration", "11", "--captions", srt, *arguments, path)
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
                    self.assertAlmostEqual(real_start, start, delta=1.0 if start == 4.52 else 0.15)
                    self.assertAlmostEqual(real_end, end, delta=1.0 if end == 4.5 else 0.15)

    def test_a_c708_track_holds_one_sound_packet_a_frame(self):
        path = self.record_with_captions("720p50", "--caption-track", "c708")
        facts = inspect(path)
        self.assertEqual(facts["captions"]["c708 packets"], 550)
        self.assertEqual(facts["faults"], [])
        objects = [json.loads(line) for line in run(ZENQUOR, "anc", "--json", path).stdout.splitlines()]
        lines = [entry for entry in objects if "did" in entry]
        self.assertEqual([entry["text"] for entry in objects if entry.get("service") == "CC1"][3], "The end.")
        self.assertEqual(objects[-1]["summary"]["parityErrors"], 0)
        self.assertEqual([line["frame"] for line in lines], list(range(550)))
        self.assertEqual({(line["did"], line["sdid"]) for line in lines}, {(0x61, 0x01)})
        counters = [int(line["data"][10:14], 16) for line in lines]
        self.assertEqual(counters, list(range(counters[0], counters[0] + 550)))

    def test_every_channel_can_be_chosen(self):
        for channel in (2, 3, 4):
            path = self.record_with_captions("720p25", "--caption-channel", channel)
            text = run(ZENQUOR, "anc", path).stdout
            self.assertRegex(text, rf"CEA608 channel {channel - 1} [0-9a-f]{{4}} Control Code ")
            path.unlink()

    def test_caption_files_of_every_kind_can_be_recorded_and_collected(self):
        (self.folder / "in.srt").write_text(SUBTITLES, encoding="utf-8")
        (self.folder / "in.stl").write_bytes(stl([("00:00:01:00", "00:00:03:00", ["Guten Abend,", "meine Damen"])]))
        wanted = [text for _, _, text in cues(SUBTITLES)]
        for name in ("in.scc", "in.mcc"):
            run(ZENQUOR, "captions", self.folder / "in.srt", self.folder / name)
        for name, form, texts in (("in.scc", "720p2997", wanted), ("in.scc", "720p25", wanted), ("in.mcc", "720p50", wanted),
                                  ("in.stl", "720p25", ["Guten Abend,\nmeine Damen"])):
            with self.subTest(file=name, format=form):
                path, collected = self.folder / "out.mov", self.folder / "out.scc"
                record("--format", form, "--codec", "avc1", "--duration", "11", "--start-timecode", "00:00:00:00",
                       "--captions", self.folder / name, "--write-captions", collected,
                       "--write-captions", self.folder / "out.mcc", path)
                decoded = run("ffmpeg", "-v", "error", "-i", path, "-map", "0:s:0", "-f", "srt", "-").stdout
                self.assertEqual([text for _, _, text in cues(decoded)], texts)
                text_tracks = [track for track in mediainfo(path) if track["@type"] == "Text"]
                self.assertIn("EIA-608", {track.get("Format") for track in text_tracks})
                for file in (collected, self.folder / "out.mcc"):
                    back = self.folder / "back.srt"
                    run(ZENQUOR, "captions", file, back)
                    self.assertEqual([text for _, _, text in cues(back.read_text())], texts, file)
                path.unlink()

    def test_cues_that_do_not_fit_one_packet_take_another(self):
        events, long = range(1, 41), "A" * 230
        arguments = [part for event in events for part in ("--cue", f"00:00:00:05:splice-start,event={event}")]
        everything = self.folder / "everything.mcc"
        record("--format", "720p25", "--codec", "apco", "--frames", "10", "--start-timecode", "00:00:00:00", *arguments,
               "--write-anc", everything, self.folder / "out.mov")
        objects = [json.loads(line) for line in run(ZENQUOR, "anc", "--json", everything).stdout.splitlines()]
        data = "".join(entry["data"] for entry in objects if entry.get("did") == 0x41)
        # Each request: code 0101, 14 bytes, type 1, its event.
        self.assertEqual([data.count(f"0101000E01{event:08X}") for event in events], [1] * 40)
        self.assertEqual(objects[-1]["summary"]["faults"], [])
        done = record("--cue", f"10:00:00:05:segmentation,upid={long}", self.folder / "no.mov", status=2)
        self.assertIn("shorten its upid", done.stderr)

    def test_cues_and_teletext_travel_with_the_frames(self):
        (self.folder / "in.stl").write_bytes(stl([("10:00:01:00", "10:00:02:00", ["Guten Abend"])]))
        everything = self.folder / "everything.mcc"
        done = record("--format", "720p25", "--codec", "apco", "--duration", "4", "--captions", self.folder / "in.stl",
                      "--caption-output", "op47", "--write-anc", everything,
                      "--cue", "10:00:02:00:splice-start,event=5,preroll=4000,duration=30",
                      "--cue", "10:00:03:00:time-signal", "--cue", "10:00:03:00:segmentation,upid=AB,type=52",
                      "--cue", "11:00:00:00:splice-end", self.folder / "out.mov")
        self.assertIn("11:00:00:00:splice-end", done.stderr)
        objects = [json.loads(line) for line in run(ZENQUOR, "anc", "--json", everything).stdout.splitlines()]
        messages = {entry["timecode"]: entry for entry in objects if entry.get("did") == 0x41}
        self.assertEqual(sorted(messages), ["10:00:02:00", "10:00:03:00"])
        # Payload descriptor, multiple operation message, one splice request: 4000 ms, 300 tenths of a second.
        self.assertEqual(messages["10:00:02:00"]["data"], "08FFFF001E0000010000000001" "0101000E"
                         "01" "00000005" "0000" "0FA0" "012C" "00" "00" "00")
        self.assertEqual(messages["10:00:03:00"]["data"][26:38], "010400020000")
        subtitles = [entry for entry in objects if entry.get("service") == "page 888"]
        self.assertEqual([(entry["in"], entry["out"], entry["text"]) for entry in subtitles],
                         [("10:00:01:00", "10:00:02:01", "Guten Abend")])
        self.assertEqual(sum(entry.get("did") == 0x43 for entry in objects), 200)


if __name__ == "__main__":
    unittest.main()
