"""The collected caption files through one another: what comes back as it was, and why the rest does not.

Prints a table by kind. Sources are read here by code of our own; a change without a reason fails the test."""
import re
import textwrap
import unittest
from collections import Counter

from captionfiles import cues
from judges import Case, SHARED, ZENQUOR, run

DATA = SHARED / "data"
# Basic and North American characters of CEA-608-E, tables 5 and 6, and quotes that have a neighbour of the same look.
SENDABLE = set(map(chr, range(0x20, 0x7F))) - set("*\\^_`{|}~") | set("áéíóúçñÑ÷█®°½¿™¢£♪àèâêîôû\n’‘“”")
MARKUP = r"(?i)</?(?:[ibu]|font[^>]*)>|\{\\[^}]*\}"  # other tags are text
LONG = "subtitles with rows longer than 32"
COLUMNS, CAPTION_ROWS, TELETEXT_ROWS, TELETEXT_COLUMNS = 32, 4, 3, 40
# ASCII whose place in a teletext set may hold a national character: EN 300 706, table 36.
NATIONAL = set("#$@[\\]^_`{|}~")
FRAMES = {"2997": 30000 / 1001, "2398": 24000 / 1001, "25": 25, "5994": 60000 / 1001}
SOON = 0.15  # seconds: a flip and an erasure take two pairs each, and a pair a frame of the slowest rate


class Table:
    """How many files of each kind came back identical, and what changed in the others."""
    def __init__(self):
        self.files, self.same, self.reasons = Counter(), Counter(), []

    def add(self, kind, name, reasons):
        self.files[kind] += 1
        self.same[kind] += not reasons
        if reasons:
            self.reasons.append((kind, name, ", ".join(f"{why}: {count}" for why, count in sorted(reasons.items()))))

    def show(self):
        print(f"\n{'kind':<24}{'files':>6}{'identical':>11}{'changed':>9}")
        for kind, count in self.files.items():
            print(f"{kind:<24}{count:>6}{self.same[kind]:>11}{count - self.same[kind]:>9}")
        for row in self.reasons:
            print("  {:<22}{}: {}".format(*row))


def captions(source, target, *arguments):
    return run(ZENQUOR, "captions", source, target, *arguments, status=None)


def words(text):
    text = re.sub("[‘’]", "'", re.sub("[“”]", '"', text))
    return "\n".join(" ".join(line.split()) for line in text.splitlines())


def reason_of(wanted, rows):
    """Why a subtitle may look different; nothing when it must come back as it is."""
    if not set(wanted) <= SENDABLE:
        return "subtitles with characters that captions lack"
    lines = wanted.split("\n")
    if any(len(line) > COLUMNS for line in lines):
        return LONG
    return "subtitles with too many rows" if len(lines) > rows else None


def loading_time(text, rate):
    """Two characters a frame, and codes for the start, each row's place and the flip; in seconds."""
    return (len(text) / 2 + 5 * (text.count("\n") + 2)) / FRAMES[rate]


@unittest.skipUnless(DATA.is_dir(), "the collected files are not here")
class Corpus(Case):
    table = Table()

    @classmethod
    def tearDownClass(cls):
        cls.table.show()

    def compare(self, source, got, rate, where):
        """Reasons for changed subtitles by count; what has no reason fails."""
        reasons, at, before = Counter(), 0, 0.0
        for (start, end, text), (next_start, _, next_text) in zip(source, [*source[1:], (1e9, 0, "")]):
            wanted, reason = words(text), reason_of(words(text), CAPTION_ROWS)
            matches = [i for i in range(at, len(got))
                       if abs(got[i][0] - start) < 3 and words(got[i][2]).split() == wanted.split()]
            if not matches:
                wrapped = sum(len(textwrap.wrap(line, COLUMNS)) for line in wanted.split("\n"))
                only_wrapped = reason == LONG and wrapped <= CAPTION_ROWS
                self.assertTrue(reason and not only_wrapped, f"{where}: {wanted!r} at {start} is lost")
                reasons[reason] += 1
                continue
            at = matches[0] + 1
            real_start, real_end, shown = got[matches[0]]
            if words(shown) != wanted:
                self.assertIsNotNone(reason, f"{where}: {wanted!r} came as {shown!r}")
                reasons[reason] += 1
            loading, late = loading_time(wanted, rate), real_start - start
            self.assertGreater(late, -0.05, f"{where}: {wanted!r}")
            self.assertLess(late, SOON if start - before > loading else loading + SOON, f"{where}: {wanted!r} at {start}")
            # It stays until the next has been loaded, where that comes at once, and its own erasure waits behind it.
            until = loading_time(words(next_text), rate) if next_start - end < 2 else 0
            self.assertLess(abs(real_end - end), SOON + max(0, late) + until, f"{where}: {wanted!r} until {end}")
            before = real_start
        return reasons

    def test_subrip_comes_back_from_scc_and_mcc(self):
        back = self.folder / "back.srt"
        for path in sorted((DATA / "srt").glob("*.srt")):
            for rate in FRAMES:
                kind = "scc" if rate == "2997" else "mcc"
                between = self.folder / f"between.{kind}"
                done = captions(path, between, "--rate", rate)
                if done.returncode != 0:
                    self.assertRegex(done.stderr, r"holds no readable subtitle\. \S")
                    self.table.add(f"SubRip {kind} {rate}", path.name, {"unreadable, as it is told": 1})
                    continue
                read = int(re.search(r"(\d+) subtitles", done.stdout).group(1))
                source = cues(path.read_text(encoding="utf-8-sig", errors="replace"), MARKUP)
                self.assertTrue(len(source) == read or "could not be read and are lost" in done.stdout, path.name)
                beyond = [cue for cue in source if cue[0] >= 24 * 3600]
                reasons = Counter({"subtitles after the end of the day": len(beyond)} if beyond else {})
                if captions(between, back).returncode == 0:
                    sendable = [cue for cue in source[:read] if cue not in beyond]
                    reasons += self.compare(sendable, cues(back.read_text(encoding="utf-8"), MARKUP), rate, f"{path.name} {rate}")
                else:
                    self.assertTrue(beyond or all(reason_of(words(text), CAPTION_ROWS) for _, _, text in source), path.name)
                self.table.add(f"SubRip {kind} {rate}", path.name, reasons)

    def test_stl_comes_back_from_teletext(self):
        for path in sorted((DATA / "ebustl").glob("*.stl")):
            back = self.folder / "back.srt"
            done = captions(path, back, "--output", "op47")
            self.assertEqual(done.returncode, 0, done.stderr)
            (block, (start, end)), *more = stl_blocks(path.read_bytes())
            self.assertEqual(more, [], path.name)
            shown = [shown_row(row) for row in block]
            (real_start, real_end, text), *_ = cues(back.read_text(encoding="utf-8"))
            self.assertAlmostEqual(real_start, start, delta=0.002)
            self.assertAlmostEqual(real_end, end + 0.04, delta=0.002)
            reasons = Counter()
            if text != "\n".join(" ".join(row.split()) for row in shown):
                reasons["rows longer than 40 with their codes"] += any(len(row) + 4 > TELETEXT_COLUMNS for row in block)
                reasons["national or missing characters"] += any(set(row) & NATIONAL or not row.isascii() for row in shown)
                reasons += Counter({"rows of more than a packet holds": int(len(shown) > TELETEXT_ROWS)})
                self.assertTrue(any(reasons.values()), f"{path.name}: {shown} came as {text!r}")
                self.assertIn("is not seen as it was written", done.stdout)
            self.table.add("EBU STL op47", path.name, +reasons)

    def test_scc_comes_back_from_mcc(self):
        for path in sorted((DATA / "scc").glob("*.scc")):
            between, back = self.folder / "between.mcc", self.folder / "back.scc"
            played, lost = scc_pairs(path.read_text(encoding="utf-8-sig", errors="replace"))
            done = captions(path, between)
            if not played:
                self.assertIn("holds no readable caption", done.stderr, path.name)
                self.table.add("SCC mcc", path.name, {"unreadable, as it is told": 1})
                continue
            self.assertEqual(done.returncode, 0, done.stderr)
            self.assertEqual("Not played" in done.stdout, lost > 0, path.name)
            captions(between, back)
            got, _ = scc_pairs(back.read_text())
            self.assertEqual([p for _, p in got], [p for _, p in played], path.name)
            reasons = Counter({"pairs of overlapping lines": lost} if lost else {})
            gaps = single_gaps(played)
            for (frame, pair), (real, _), allowed in zip(played, got, gaps):
                self.assertTrue(0 <= frame - real <= allowed, f"{path.name}: {pair} of {frame} came at {real}")
                reasons["pairs moved by an empty pair in their line"] += frame != real
            self.table.add("SCC mcc", path.name, +reasons)


def stl_blocks(data):
    """(rows with their codes, (in, out) in seconds at 25) of each block of text."""
    for at in range(1024, len(data) - 127, 128):
        block = data[at:at + 128]
        seconds = [t[0] * 3600 + t[1] * 60 + t[2] + t[3] / 25 for t in (block[5:9], block[9:13])]
        text = block[16:].replace(b"\x8f", b"")
        yield [row.decode("latin-1") for row in re.split(b"\x8a+", text) if row], seconds


def shown_row(row):
    """Codes are shown as spaces; beyond ASCII the bytes are ISO 6937, whose letters stand elsewhere than in Latin-1."""
    return "".join(" " if c < " " or "\x80" <= c < "\xa0" else c for c in row)


def scc_pairs(text):
    """(frame, pair) of what a player sends at 29.97 drop-frame, empty pairs left out; and how many pairs it drops."""
    lines = [line for line in text.splitlines() if line and not line.startswith("//")]
    sent, lost, free = [], 0, 0
    if not lines or lines[0] != "Scenarist_SCC V1.0":
        return [], 0
    for line in lines[1:]:
        match = re.fullmatch(r"(\d\d)[:;](\d\d)[:;](\d\d)[:;](\d\d)\t([0-9A-Fa-f ]*)", line)
        if not match:
            if sent:
                break
            continue
        hours, minutes, seconds, frames = (int(part) for part in match.groups()[:4])
        frames = 2 if minutes % 10 and seconds == 0 and frames < 2 else min(frames, 29)
        start = ((hours * 60 + minutes) * 60 + seconds) * 30 + frames - 2 * (hours * 54 + minutes - minutes // 10)
        codes = match.group(5).replace(" ", "").upper()
        pairs = [codes[i:i + 4] for i in range(0, len(codes) - 3, 4)]
        if start + len(pairs) <= free:
            lost += max(1, len(pairs))
            continue
        lost += max(0, free - start)
        sent += [(start + i, pair) for i, pair in enumerate(pairs) if start + i >= free and int(pair, 16) & 0x7F7F]
        free = start + len(pairs)
    return sent, lost


def single_gaps(pairs):
    """For each pair how many frames earlier it may come: the lone empty pairs before it in its run."""
    allowed, gaps, before = [], 0, None
    for frame, _ in pairs:
        step = frame - before if before is not None else 1
        gaps = gaps + 1 if step == 2 else gaps if step == 1 else 0
        allowed.append(gaps)
        before = frame
    return allowed


if __name__ == "__main__":
    unittest.main()
