"""Runs the command and the independent programs that judge its files."""
import json
import os
import re
import subprocess
import tempfile
import unittest
from pathlib import Path

ZENQUOR = os.environ["ZENQUOR"]
SHARED = Path(os.environ.get("ZENQUOR_SHARED", Path(__file__).resolve().parents[3] / "shared"))


def run(*command, status=0, **options):
    """Runs a program; fails when its exit status is not the expected one."""
    done = subprocess.run([str(part) for part in command], capture_output=True, text=True, timeout=240, **options)
    if status is not None and done.returncode != status:
        raise AssertionError(f"{command} ended with {done.returncode}:\n{done.stdout}\n{done.stderr}")
    return done


def record(*arguments, status=0):
    return run(ZENQUOR, "record", *arguments, status=status)


def inspect(path):
    return json.loads(run(ZENQUOR, "inspect", "--json", path).stdout)


def ffprobe(path, *arguments):
    done = run("ffprobe", "-v", "error", "-of", "json", "-show_format", "-show_streams", *arguments, path)
    return json.loads(done.stdout)


def streams(probe, kind):
    return [s for s in probe["streams"] if s["codec_type"] == kind]


def decode_warnings(path):
    """What ffmpeg complains of while it decodes everything, but for what it does not know: the caption codec, the layout of
    a track of sound that stands alone."""
    done = run("ffmpeg", "-v", "warning", "-i", path, "-map", "0:v", "-map", "0:a?", "-f", "null", "-")
    known = ("codec 0", "c708", "Guessed Channel Layout")
    return [line for line in done.stderr.splitlines() if line.strip() and not any(text in line for text in known)]


def packet_counts(path):
    """Packets of each stream that can be read, by stream index."""
    done = run("ffprobe", "-v", "quiet", "-of", "json", "-count_packets", "-show_streams", path)
    return {s["index"]: (s["codec_type"], int(s.get("nb_read_packets", 0)), s) for s in json.loads(done.stdout)["streams"]}


def mediainfo(path):
    return json.loads(run("mediainfo", "--Output=JSON", path).stdout)["media"]["track"]


def discoverer_seconds(path):
    text = run("gst-discoverer-1.0", path).stdout
    hours, minutes, seconds = re.search(r"Duration: (\d+):(\d+):([\d.]+)", text).groups()
    return int(hours) * 3600 + int(minutes) * 60 + float(seconds)


class Case(unittest.TestCase):
    """A test with a folder of its own."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="zenquor-")
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
