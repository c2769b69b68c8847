"""Small caption files to start from, and a reader of SubRip that shares no code with the library."""
import re

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

4
00:00:08,000 --> 00:00:10,000
The end.
"""


def seconds(text):
    hours, minutes, rest = re.match(r"(\d+):(\d+):([\d,]+)", text).groups()
    return int(hours) * 3600 + int(minutes) * 60 + float(rest.replace(",", "."))


def cues(srt, markup=r"<[^>]*>|\{[^}]*\}|\\h"):
    """(in, out, words) of each cue; markup, positions and the shape of quotes are the reader's own."""
    result = []
    for block in re.split(r"\n\s*\n", srt.replace("\r", "").strip()):
        lines = block.splitlines()
        start, end = re.split(r"\s+-->\s+", lines[1])
        text = re.sub(markup, "", "\n".join(lines[2:])).replace("\u2019", "'")
        result.append((seconds(start), seconds(end), "\n".join(" ".join(line.split()) for line in text.splitlines())))
    return result


def scc(lines):
    return "Scenarist_SCC V1.0\n\n" + "".join(line + "\n\n" for line in lines)


def stl(blocks, language="08", format_code="STL25.01", row=20):
    """An EBU STL file of single blocks: (in, out, lines) each."""
    gsi = bytearray(b" " * 1024)
    for offset, text in ((0, "850"), (3, format_code), (11, "1"), (12, "00"), (14, language), (236, "01"),
                         (238, f"{len(blocks):05}"), (243, f"{len(blocks):05}"), (248, "001"), (251, "40"), (253, "23"),
                         (255, "1"), (256, "00000000"), (264, "00000000"), (272, "1"), (273, "1")):
        gsi[offset:offset + len(text)] = text.encode()
    data = bytes(gsi)
    for number, (start, end, lines) in enumerate(blocks):
        times = bytes(int(part) for time in (start, end) for part in time.split(":"))
        text = b"\x8a\x8a".join(b"\x0d\x0b\x0b" + line.encode("ascii") + b"\x0a\x0a" for line in lines)
        data += bytes([0]) + number.to_bytes(2, "little") + b"\xff\x00" + times + bytes([row, 2, 0])
        data += text.ljust(112, b"\x8f")
    return data


def mcc(frames):
    """An MCC file at 29.97 of one caption distribution packet a frame, from 00:00:01;00: (field 1, field 2) pairs each."""
    text = "File Format=MacCaption_MCC V2.0\n\nTime Code Rate=30DF\n\n"
    for number, (first, second) in enumerate(frames):
        # SMPTE ST 334-2: header, 20 triplets (two pairs, a CEA-708 packet of two, padding), footer, checksum.
        triplets = b"\xfc" + bytes.fromhex(first) + b"\xfd" + bytes.fromhex(second) + b"\xff\x02\x21\xfe\x41\0" + b"\xfa\0\0" * 16
        cdp = b"\x96\x69\x49\x4f\x43" + number.to_bytes(2, "big") + b"\x72\xf4" + triplets + b"\x74" + number.to_bytes(2, "big")
        packet = b"\x61\x01\x49" + cdp + bytes([-sum(cdp) & 255])
        text += f"00:00:01;{number:02}\t{packet.hex().upper()}{sum(packet) & 255:02X}\n"
    return text
