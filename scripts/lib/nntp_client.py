"""A minimal blocking NNTP client for posting test and demo articles to our
own server. Standard library only (nntplib is deprecated and gone in 3.13)."""

import socket


class NntpError(Exception):
    pass


class Client:
    def __init__(self, host, port, user=None, password=None, timeout=30):
        self.sock = socket.create_connection((host, port), timeout=timeout)
        self.reader = self.sock.makefile("rb")
        self.expect(self.reply(), "200", "201")
        # innd answers in transit mode; MODE READER hands us to nnrpd.
        self.expect(self.command("MODE READER"), "200", "201")
        if user:
            self.expect(self.command("AUTHINFO USER " + user), "281", "381")
            if self.last.startswith("381"):
                self.expect(self.command("AUTHINFO PASS " + (password or "")), "281")

    def reply(self):
        line = self.reader.readline()
        if not line:
            raise NntpError("connection closed")
        self.last = line.decode("latin-1").rstrip("\r\n")
        return self.last

    def command(self, text):
        self.sock.sendall(text.encode("latin-1") + b"\r\n")
        return self.reply()

    @staticmethod
    def expect(reply, *codes):
        if reply[:3] not in codes:
            raise NntpError(reply)
        return reply

    def post(self, headers, body_lines):
        """Posts one article. headers: list of (name, value); body_lines: text
        lines without endings, latin-1 text so that yEnc bytes pass unchanged."""
        self.expect(self.command("POST"), "340")
        out = bytearray()
        for name, value in headers:
            out += ("%s: %s\r\n" % (name, value)).encode("latin-1")
        out += b"\r\n"
        for line in body_lines:
            raw = line.encode("latin-1")
            if raw.startswith(b"."):
                raw = b"." + raw  # dot-stuffing
            out += raw + b"\r\n"
        out += b".\r\n"
        self.sock.sendall(bytes(out))
        return self.expect(self.reply(), "240")

    def close(self):
        try:
            self.command("QUIT")
        except (OSError, NntpError):
            pass
        self.sock.close()

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()
