"""The sample encoders checked against independent decoders: sharutils'
uudecode, Python's email parser and uudeview. A fault here would make every
decoder test built on these samples meaningless."""

import email
import email.policy
import os
import re
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "..", "scripts", "lib"))
import encoders  # noqa: E402


def every_byte(repeat=3):
    return bytes(range(256)) * repeat


class TempDirTest(unittest.TestCase):
    def setUp(self):
        self._tmp = tempfile.TemporaryDirectory()
        self.dir = self._tmp.name

    def tearDown(self):
        self._tmp.cleanup()

    def write(self, name, lines):
        path = os.path.join(self.dir, name)
        with open(path, "w", encoding="latin-1", newline="\n") as f:
            f.write("\n".join(lines) + "\n")
        return path

    def uudeview(self, path):
        """Decodes path with uudeview into a fresh directory; returns (files, stderr)."""
        out = tempfile.mkdtemp(dir=self.dir)
        run = subprocess.run(["uudeview", "-i", "-o", "-q", "-p", out, path],
                             capture_output=True, text=True)
        files = {}
        for name in os.listdir(out):
            with open(os.path.join(out, name), "rb") as f:
                files[name] = f.read()
        return files, run.stdout + run.stderr


class UuencodeTest(TempDirTest):
    def test_sizes_around_the_line_boundary_decode_with_uudecode(self):
        for size in (0, 1, 44, 45, 46, 90, 1000):
            data = every_byte(4)[:size]
            lines = encoders.uuencode(data, "x.bin")
            self.assertEqual(lines[0], "begin 644 x.bin")
            self.assertEqual(lines[-2:], ["`", "end"])
            # sharutils writes "`" for zero; a space could be stripped in transit.
            self.assertFalse(any(line.endswith(" ") for line in lines), size)
            target = os.path.join(self.dir, "out.bin")
            subprocess.run(["uudecode", "-o", target, self.write("x.uu", lines)], check=True)
            with open(target, "rb") as f:
                self.assertEqual(f.read(), data, size)

    def test_split_into_parts_rejoins_to_the_whole(self):
        lines = encoders.uuencode(encoders.sample_picture(2), "pic.png")
        parts = encoders.split_lines(lines, 3)
        self.assertEqual(len(parts), 3)
        self.assertTrue(all(parts))
        self.assertEqual(sum(parts, []), lines)
        # Fewer lines than parts must not give empty parts silently.
        self.assertEqual([len(p) for p in encoders.split_lines(["a", "b", "c", "d", "e"], 4)],
                         [1, 1, 1, 2])


class MimeTest(TempDirTest):
    def attachment(self, headers, body):
        text = "".join("%s: %s\n" % h for h in headers) + "\n" + "\n".join(body) + "\n"
        message = email.message_from_string(text, policy=email.policy.default)
        attachments = list(message.iter_attachments())
        self.assertEqual(len(attachments), 1)
        return attachments[0]

    def test_single_article_gives_back_file_and_name(self):
        data = encoders.sample_picture(3)
        headers, body = encoders.mime_multipart(data, "pic3.png", text="hello\nthere")
        part = self.attachment(headers, body)
        self.assertEqual(part.get_filename(), "pic3.png")
        self.assertEqual(part.get_content_type(), "image/png")
        self.assertEqual(part.get_content(), data)
        self.assertTrue(all(len(line) <= 76 for line in body))

    def test_parts_concatenated_decode_with_uudeview(self):
        data = encoders.sample_picture(4)
        headers, body = encoders.mime_multipart(data, "pic4.png")
        parts = encoders.split_lines(body, 3)
        lines = ["%s: %s" % h for h in headers] + ["Subject: pic4.png", ""] + sum(parts, [])
        files, log = self.uudeview(self.write("m.msg", lines))
        self.assertEqual(files.get("pic4.png"), data, log)


class YencTest(TempDirTest):
    def test_escaping_leaves_no_critical_character_unescaped(self):
        # Every byte value at every position of a line: shift the data by one
        # byte for each start offset.
        for length in (128, 7, 1):
            for shift in range(0, 256, 37 if length == 128 else 1):
                data = every_byte()[shift:] + every_byte()[:shift]
                lines = encoders.yenc_body(data, length)
                for line in lines:
                    raw = line.encode("latin-1")
                    self.assertNotIn(b"\x00", raw)
                    self.assertNotIn(b"\r", raw)
                    self.assertNotIn(b"\n", raw)
                    self.assertNotIn(raw[:1], (b".", b" ", b"\t"))
                    self.assertNotIn(raw[-1:], (b" ", b"\t"))
                    self.assertFalse(raw.endswith(b"=") and not raw.endswith(b"=="),
                                     "escape cut at the end of a line")
                    self.assertLessEqual(len(raw), length + 1)
                # All lines but the last are full.
                self.assertTrue(all(len(line) >= length for line in lines[:-1]))

    def test_single_part_decodes_with_uudeview(self):
        data = every_byte(5)
        lines = encoders.yenc_single(data, "all.bin")
        self.assertRegex(lines[0], r"^=ybegin line=128 size=1280 name=all\.bin$")
        self.assertRegex(lines[-1], r"^=yend size=1280 crc32=[0-9a-f]{8}$")
        files, log = self.uudeview(self.write("y.msg", ["Subject: all.bin", ""] + lines))
        self.assertEqual(files.get("all.bin"), data, log)
        self.assertNotIn("CRC", log)

    def test_parts_cover_the_file_and_decode_with_uudeview_in_any_order(self):
        data = encoders.sample_picture(5)
        parts = encoders.yenc_parts(data, "pic5.png", 4)
        self.assertEqual(len(parts), 4)
        expected_begin = 1
        for number, lines in enumerate(parts, start=1):
            self.assertEqual(lines[0], "=ybegin part=%d total=4 line=128 size=%d name=pic5.png"
                             % (number, len(data)))
            fields = dict(f.split("=") for f in lines[1].split()[1:])
            self.assertEqual(int(fields["begin"]), expected_begin)
            expected_begin = int(fields["end"]) + 1
            self.assertEqual((" crc32=" in lines[-1]), number == 4)
        self.assertEqual(expected_begin, len(data) + 1)

        articles = []
        for number in (3, 1, 4, 2):
            articles += ['Subject: "pic5.png" yEnc (%d/4)' % number, ""] + parts[number - 1] + [""]
        files, log = self.uudeview(self.write("y.msg", articles))
        self.assertEqual(files.get("pic5.png"), data, log)
        self.assertNotIn("CRC", log)

    def test_wrong_part_crc_is_noticed_by_uudeview(self):
        # Proves the check above can fail: uudeview does compare pcrc32.
        data = encoders.sample_picture(6)
        parts = encoders.yenc_parts(data, "pic6.png", 2, crc_every_part=True)
        parts[0][-1] = re.sub(r"pcrc32=\w+", "pcrc32=%08x" % (encoders.crc32(data) ^ 1),
                              parts[0][-1])
        articles = []
        for number, lines in enumerate(parts, start=1):
            articles += ['Subject: "pic6.png" yEnc (%d/2)' % number, ""] + lines + [""]
        _, log = self.uudeview(self.write("y.msg", articles))
        self.assertIn("CRC", log)


class PictureTest(unittest.TestCase):
    def test_pictures_are_deterministic_and_differ_by_index(self):
        self.assertEqual(encoders.sample_picture(1), encoders.sample_picture(1))
        self.assertNotEqual(encoders.sample_picture(1), encoders.sample_picture(2))
        data = encoders.sample_picture(1, 40, 30)
        self.assertEqual(data[:8], b"\x89PNG\r\n\x1a\n")
        self.assertEqual(data[16:24], (40).to_bytes(4, "big") + (30).to_bytes(4, "big"))


if __name__ == "__main__":
    unittest.main()
