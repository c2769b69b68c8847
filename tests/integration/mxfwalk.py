"""A walk through the elements of an MXF file that shares no code with the library: keys, lengths, 436M packets."""
import struct

PARTITION = bytes.fromhex("060e2b34020501010d010201")
ELEMENT = bytes.fromhex("060e2b34010201010d010301")
FILL = bytes.fromhex("060e2b34010101020301021001000000")
FOOTER, RANDOM_INDEX = 4, 0x11


def items(data):
    """(offset, key, value) of every item; stops where the file is cut off."""
    at = 0
    while at + 17 <= len(data):
        key, first = data[at:at + 16], data[at + 16]
        wide = first & 0x7F if first & 0x80 else 0
        start = at + 17 + wide
        length = int.from_bytes(data[at + 17:start], "big") if wide else first
        if start + length > len(data):
            return
        yield at, key, data[start:start + length]
        at = start + length


def without_version(key):
    return key[:7] + key[8:]


def is_element(key):
    return without_version(key)[:11] == without_version(ELEMENT + b"\0\0\0\0")[:11]


def partitions(data):
    """(offset, kind, state) of every partition pack."""
    return [(at, key[13], key[14]) for at, key, _ in items(data)
            if key[:4] == PARTITION[:4] and key[4:6] == b"\x02\x05" and key[8:12] == PARTITION[8:] and key[13] in (2, 3, 4)]


def elements(data, item, kind):
    """Values of the elements of an item and element type, such as (0x17, 0x02) for ancillary data."""
    return [value for _, key, value in items(data) if is_element(key) and (key[12], key[14]) == (item, kind)]


def packets(element):
    """(line, did, sdid, data) of a SMPTE ST 436-1 element of 8-bit samples."""
    count, = struct.unpack_from(">H", element)
    at, found = 2, []
    for _ in range(count):
        line, _, coding, samples, size, item = struct.unpack_from(">HBBHII", element, at)
        assert coding in (4, 5, 6) and item == 1, (coding, item)
        payload = element[at + 14:at + 14 + size]
        assert samples >= 3 + payload[2], (samples, payload[2])
        found.append((line, payload[0], payload[1], payload[3:3 + payload[2]].hex()))
        at += 14 + size
    assert at == len(element), (at, len(element))
    return found


def ancillary(path):
    """The packets of every frame."""
    return [packets(element) for element in elements(path.read_bytes(), 0x17, 0x02)]
