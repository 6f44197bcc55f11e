"""Encoders for binary news posts: uuencode, MIME base64 and yEnc, plus small
PNG pictures to post. Standard library only, so the sample poster, the tests
and the benchmarks can share them without installing anything.

Every encoder returns text lines without line endings; callers join them with
CRLF (articles) or LF (files)."""

import base64
import binascii
import math
import random
import struct
import zlib

# --- Pictures ---------------------------------------------------------------


def png(width, height, pixel):
    """A truecolour PNG; pixel(x, y) returns an (r, g, b) tuple of 0..255."""
    rows = bytearray()
    for y in range(height):
        rows.append(0)  # filter type None
        for x in range(width):
            rows.extend(pixel(x, y))

    def chunk(kind, data):
        return (struct.pack(">I", len(data)) + kind + data +
                struct.pack(">I", zlib.crc32(kind + data) & 0xFFFFFFFF))

    header = struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) +
            chunk(b"IDAT", zlib.compress(bytes(rows), 9)) + chunk(b"IEND", b""))


def _clamp(v):
    return max(0, min(255, int(v)))


def sample_picture(index, width=160, height=120):
    """One of a few colourful patterns, chosen by index. A little seeded
    noise keeps the files from compressing to nothing, so multi-part posts
    really have several parts, and the same index always gives the same bytes."""
    rnd = random.Random(index)
    noise = [rnd.randrange(24) for _ in range(width * height)]
    kind = index % 5
    cx, cy = width / 2, height / 2

    def pixel(x, y):
        n = noise[y * width + x]
        if kind == 0:  # diagonal rainbow
            t = (x + y) / (width + height) * 2 * math.pi
            return (_clamp(127 + 127 * math.sin(t) + n),
                    _clamp(127 + 127 * math.sin(t + 2.1) + n),
                    _clamp(127 + 127 * math.sin(t + 4.2) + n))
        if kind == 1:  # checkerboard in two colours
            on = ((x // 16) + (y // 16)) % 2
            return (_clamp(230 * on + n), _clamp(120 + n), _clamp(230 * (1 - on) + n))
        if kind == 2:  # concentric rings
            d = math.hypot(x - cx, y - cy)
            return (_clamp(128 + 127 * math.cos(d / 4) + n), _clamp(2 * d + n),
                    _clamp(255 - 2 * d + n))
        if kind == 3:  # vertical stripes over a sunset gradient
            stripe = 60 if (x // 10) % 2 else 0
            return (_clamp(255 - y + n), _clamp(90 + stripe + n), _clamp(y * 2 + n))
        # plasma
        v = (math.sin(x / 9) + math.sin(y / 7) + math.sin((x + y) / 13)) / 3
        return (_clamp(128 + 127 * v + n), _clamp(128 + 127 * math.sin(v * 3) + n),
                _clamp(128 - 127 * v + n))

    return png(width, height, pixel)


# --- uuencode ---------------------------------------------------------------


def uuencode(data, name, mode=0o644):
    """Classic uuencode as sharutils writes it: 45 bytes a line, "`" for zero."""
    lines = ["begin %o %s" % (mode, name)]
    for i in range(0, len(data), 45):
        lines.append(binascii.b2a_uu(data[i:i + 45], backtick=True).decode("ascii").rstrip("\n"))
    lines += ["`", "end"]
    return lines


# --- MIME base64 ------------------------------------------------------------


def base64_lines(data, width=76):
    text = base64.b64encode(data).decode("ascii")
    return [text[i:i + width] for i in range(0, len(text), width)] or [""]


def mime_multipart(data, name, content_type="image/png", text="", boundary=None):
    """A multipart/mixed message: a text part, then the attachment in base64.
    Returns (headers, body_lines); headers is a list of (name, value)."""
    boundary = boundary or "=_zanderfell_%08x" % (zlib.crc32(data) & 0xFFFFFFFF)
    headers = [("MIME-Version", "1.0"),
               ("Content-Type", 'multipart/mixed; boundary="%s"' % boundary)]
    body = ["This is a multi-part message in MIME format.", "",
            "--" + boundary,
            "Content-Type: text/plain; charset=us-ascii",
            "Content-Transfer-Encoding: 7bit", ""]
    body += text.split("\n") if text else [""]
    body += ["--" + boundary,
             '%s; name="%s"' % ("Content-Type: " + content_type, name),
             "Content-Transfer-Encoding: base64",
             'Content-Disposition: attachment; filename="%s"' % name, ""]
    body += base64_lines(data)
    body += ["", "--" + boundary + "--", ""]
    return headers, body


# --- yEnc -------------------------------------------------------------------

_ALWAYS_ESCAPED = {0x00, 0x0A, 0x0D, 0x3D}  # NUL, LF, CR, '='
_EDGE_ESCAPED = {0x09, 0x20}  # TAB, SPACE: lost at either end of a line
_LEADING_ESCAPED = {0x2E}  # '.': would be taken for dot-stuffing


def crc32(data):
    return zlib.crc32(data) & 0xFFFFFFFF


def yenc_body(data, line_length=128):
    """The encoded lines of data. A line ends once it holds line_length
    characters, so a line ending in an escape pair may be one longer."""
    lines = []
    line = bytearray()
    last = len(data) - 1
    for i, byte in enumerate(data):
        c = (byte + 42) & 0xFF
        at_start = not line
        at_end = len(line) + 1 >= line_length or i == last
        if (c in _ALWAYS_ESCAPED or (c in _EDGE_ESCAPED and (at_start or at_end))
                or (c in _LEADING_ESCAPED and at_start)):
            line += bytes((0x3D, (c + 64) & 0xFF))
        else:
            line.append(c)
        if len(line) >= line_length:
            lines.append(line.decode("latin-1"))
            line = bytearray()
    if line:
        lines.append(line.decode("latin-1"))
    return lines


def yenc_single(data, name, line_length=128):
    lines = ["=ybegin line=%d size=%d name=%s" % (line_length, len(data), name)]
    lines += yenc_body(data, line_length)
    lines.append("=yend size=%d crc32=%08x" % (len(data), crc32(data)))
    return lines


def split_even(data, parts):
    """Cuts data into parts pieces of nearly equal size; returns (begin, piece)
    with begin the 0-based offset."""
    cuts = [len(data) * i // parts for i in range(parts + 1)]
    return [(cuts[i], data[cuts[i]:cuts[i + 1]]) for i in range(parts)]


def yenc_parts(data, name, parts, line_length=128, crc_every_part=False):
    """A yEnc multi-part post: one list of lines per part. The CRC of the whole
    file goes on the last part's =yend line, as the yEnc 1.3 example has it;
    crc_every_part puts it on every part, as some posters do."""
    total_crc = crc32(data)
    result = []
    for number, (begin, piece) in enumerate(split_even(data, parts), start=1):
        lines = ["=ybegin part=%d total=%d line=%d size=%d name=%s"
                 % (number, parts, line_length, len(data), name),
                 "=ypart begin=%d end=%d" % (begin + 1, begin + len(piece))]
        lines += yenc_body(piece, line_length)
        end = "=yend size=%d part=%d pcrc32=%08x" % (len(piece), number, crc32(piece))
        if crc_every_part or number == parts:
            end += " crc32=%08x" % total_crc
        lines.append(end)
        result.append(lines)
    return result


def split_lines(lines, parts):
    """Cuts a list of lines into parts consecutive chunks of nearly equal length."""
    cuts = [len(lines) * i // parts for i in range(parts + 1)]
    return [lines[cuts[i]:cuts[i + 1]] for i in range(parts)]
