"""PNG files as the tests read them: chunks whose sums are right, rows filtered not at all or by the row above."""
import struct
import zlib


def read_chunks(data):
    """The bodies by kind, those of a kind together."""
    assert data[:8] == b"\x89PNG\r\n\x1a\n"
    at, chunks = 8, {}
    while at < len(data):
        size, kind = struct.unpack_from(">I4s", data, at)
        body = data[at + 8:at + 8 + size]
        assert struct.unpack_from(">I", data, at + 8 + size)[0] == zlib.crc32(kind + body)
        chunks[kind] = chunks.get(kind, b"") + body
        at += 12 + size
    return chunks


def read_rows(chunks, colours):
    """Width, height, the bytes of a pixel, and the rows; the colour type must be one of these, with 8 bits a channel."""
    width, height, depth, colour = struct.unpack_from(">IIBB", chunks[b"IHDR"])
    assert depth == 8 and colour in colours
    channels = {0: 1, 2: 3, 6: 4}[colour]
    raw, rows, stride = zlib.decompress(chunks[b"IDAT"]), [], width * channels
    before = bytes(stride)
    for y in range(height):
        kind, line = raw[y * (stride + 1)], raw[y * (stride + 1) + 1:(y + 1) * (stride + 1)]
        assert kind in (0, 2), "not filtered, or by the row above"
        if kind == 2:
            line = bytes((a + b) & 255 for a, b in zip(line, before))
        rows.append(line)
        before = line
    return width, height, channels, rows
