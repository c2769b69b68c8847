"""Movies of the broadcast codecs, by the names that the command gives them, as independent programs see them."""
import unittest

from judges import Case, decode_warnings, ffprobe, mediainfo, record, run, streams

# name, format, (entry, width, height, pixels, aspect of a pixel, fields), mediainfo's (format, height)
MOVIES = [
    ("imx30", "525i5994", ("mx3n", 720, 512, "yuv422p", "10:11", "bb"), ("MPEG Video", "486")),
    ("imx50", "625i50", ("mx5p", 720, 608, "yuv422p", "59:54", "tt"), ("MPEG Video", "576")),
    ("dv", "525i5994", ("dvc ", 720, 480, "yuv411p", "10:11", "bb"), ("DV", "480")),
    ("dvcp", "625i50", ("dvcp", 720, 576, "yuv420p", "59:54", "bb"), ("DV", "576")),
    ("dvcpro", "625i50", ("dvpp", 720, 576, "yuv411p", "59:54", "bb"), ("DV", "576")),
    ("dvcpro50", "625i50", ("dv5p", 720, 576, "yuv422p", "59:54", "bb"), ("DV", "576")),
    ("dvcprohd", "1080i50", ("dvh5", 1440, 1080, "yuv422p", "4:3", "tt"), ("DV", "1080")),
    ("dvcprohd", "1080i5994", ("dvh6", 1280, 1080, "yuv422p", "3:2", "tt"), ("DV", "1080")),
    ("dvcprohd", "720p50", ("dvhq", 960, 720, "yuv422p", "4:3", "progressive"), ("DV", "720")),
    ("avci50", "1080i50", ("ai55", 1440, 1080, "yuv420p10le", "4:3", "tt"), ("AVC", "1080")),
    ("avci50", "720p5994", ("ai5p", 960, 720, "yuv420p10le", "4:3", "progressive"), ("AVC", "720")),
    ("avci100", "1080i5994", ("ai16", 1920, 1080, "yuv422p10le", "1:1", "tt"), ("AVC", "1080")),
    ("avci100", "1080p2398", ("ai13", 1920, 1080, "yuv422p10le", "1:1", "progressive"), ("AVC", "1080")),
    ("xavc50", "1080i50", ("AVin", 1440, 1080, "yuv420p10le", "4:3", "tt"), ("AVC", "1080")),
    ("xavc200", "1080i50", ("AVin", 1920, 1080, "yuv422p10le", "1:1", "tt"), ("AVC", "1080")),
    ("xavc480", "2160p50", ("AVin", 3840, 2160, "yuv422p10le", "1:1", "progressive"), ("AVC", "2160")),
    ("xavclong", "1080i50", ("xalg", 1920, 1080, "yuv422p10le", "1:1", "tt"), ("xalg", "1080")),
    ("jpeg", "1080i50", ("jpeg", 1920, 1080, "yuvj422p", "1:1", "tt"), ("JPEG", "1080")),
]
FRAMES = 4


class Codecs(Case):
    def test_every_judge_sees_the_codec_its_raster_and_its_fields(self):
        for name, form, expected, (kind, height) in MOVIES:
            with self.subTest(codec=name, format=form):
                path = self.folder / f"{name}-{form}.mov"
                record("--format", form, "--codec", name, "--frames", FRAMES, path)
                video, = streams(ffprobe(path, "-count_packets"), "video")
                self.assertEqual((video["codec_tag_string"], video["width"], video["height"], video["pix_fmt"],
                                  video["sample_aspect_ratio"], video["field_order"]), expected)
                self.assertEqual(int(video["nb_read_packets"]), FRAMES)
                self.assertEqual(decode_warnings(path), [])
                seen, = [t for t in mediainfo(path) if t["@type"] == "Video"]
                self.assertEqual((seen["Format"], seen["Height"]), (kind, height))
                path.unlink()


if __name__ == "__main__":
    unittest.main()
