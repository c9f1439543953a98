"""The message bus, for programs in Python: docs/bus.md in some 200 lines, standard library only.

One thread: what comes is handed to the subscribers by run(), and waits while request() waits for its answer.
"""
import collections
import json
import os
import pathlib
import secrets
import select
import socket
import struct
import time
import urllib.parse

MESSAGE, REQUEST, REPLY, REFUSAL = 1, 2, 3, 4
IS_REPLY, WANTS_REPLY = 1, 2  # bits of the header's flags
PREFIX = "<4sBBH16sQQIIII"  # what stands before the header, 56 bytes
PLAIN = b"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_{}/-"
LONGEST_SUBJECT = 3000


class BusError(Exception):
    """The bus, or who is asked on it, says no."""


class NobodyThere(BusError):
    """Nobody has subscribed to the request."""


class Disconnected(BusError):
    """There is no server, or it has gone."""


Received = collections.namedtuple("Received", "kind name sender payload session reply_to")


def units(text):
    return text.encode("utf-16-le", "surrogatepass")


def text_of(data):
    return data.decode("utf-16-le", "surrogatepass")


def token(word):
    if not word:
        return "%E"
    result = ""
    for character in word:
        if 0xD800 <= ord(character) <= 0xDFFF:
            result += "%%u%04X" % ord(character)
            continue
        result += "".join(chr(byte) if byte in PLAIN else "%%%02X" % byte for byte in character.encode())
    return result


def subject(name):
    """The name's tokens, without what stands before them."""
    tokens = [token(word) for word in name.split(".")]
    if len(".".join(tokens)) <= LONGEST_SUBJECT:
        return ".".join(tokens)
    number = 14695981039346656037
    for byte in units(name):
        number = (number ^ byte) * 1099511628211 & 0xFFFFFFFFFFFFFFFF
    kept = []
    for each in tokens:
        if len(".".join(kept + [each])) > LONGEST_SUBJECT:
            break
        kept.append(each)
    return ".".join(kept + ["%%L%016X" % number])


def encode(kind, name, sender, payload, flags=0, timeout=0, session=0):
    texts = [units(text) for text in (name, sender, payload)]
    lengths = [len(text) // 2 for text in texts]
    header = struct.pack("<HIIH88xHHI", 1, 114 + 2 * sum(lengths), flags, 2, 11, 8, session)
    return struct.pack(PREFIX, b"BMSG", 1, kind, 0, bytes(16), 0, 0, timeout, *lengths) + header + b"".join(texts)


def decode(data):
    """(kind, value, session, [name, sender, payload]); None for what is no message."""
    if len(data) < 164:
        return None
    magic, version, kind, _, _, _, _, value, *lengths = struct.unpack_from(PREFIX, data)
    if magic != b"BMSG" or version != 1 or len(data) != 164 + 2 * sum(lengths):
        return None
    texts, at = [], 164
    for length in lengths:
        texts.append(text_of(data[at:at + 2 * length]))
        at += 2 * length
    return kind, value, struct.unpack_from("<I", data, 160)[0], texts


def find(role):
    """(address, port, user, password) of the bus that this machine uses: as MessageBus.dll finds it."""
    folder = pathlib.Path(os.environ.get("BREVANT_PLATFORM_DIR") or "/var/lib/brevant", "data/Corvane/Brevant/bus")

    def lines(name):
        try:
            return dict(line.split("=", 1) for line in (folder / name).read_text().split("\n") if line)
        except (OSError, ValueError):
            return {}

    url = os.environ.get("BREVANT_BUS") or lines("connection").get("url")
    if not url or url == "embedded":
        raise Disconnected("no host with a server runs here, and BREVANT_BUS names none")
    parts = urllib.parse.urlsplit(url)
    user, password = parts.username, parts.password
    if user is None:
        known = lines(role + ".credentials")
        user, password = known.get("user", ""), known.get("password", "")
    return parts.hostname, parts.port, urllib.parse.unquote(user), urllib.parse.unquote(password or "")


class Bus:
    def __init__(self, sender, role, at=None):
        self.sender = sender
        host, port, user, password = at or find(role)
        self._buffer = b""
        self._handlers = {}  # by subscription
        self._waiting = collections.deque()
        self._lost = None
        inbox = "_INBOX_" + user if user else "_INBOX"
        self._inbox = inbox + "." + secrets.token_hex(16) + "."
        self._replies = {}
        try:
            self._socket = socket.create_connection((host, port), 5)
        except OSError as error:
            raise Disconnected("no server at %s:%d: %s" % (host, port, error)) from error
        self._socket.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        options = {"verbose": False, "headers": True, "no_responders": True, "name": sender}
        if user:
            options.update({"user": user, "pass": password})
        self._send("CONNECT " + json.dumps(options))
        self._subscribe(self._inbox + ">", None)
        self.settle()

    def close(self):
        self._socket.close()

    # Names are exact, or "head.>" for all that begin with these words.
    def on_message(self, name, handler):
        self._subscribe("mb." + self._subject(name), handler)

    def on_request(self, name, handler):
        """The handler answers with reply(), once."""
        self._subscribe("mq." + self._subject(name), handler)

    def settle(self):
        """Until the server has heard all that was said."""
        self._send("PING")
        self._pong = False
        deadline = time.monotonic() + 5
        while not self._pong:
            if not self._pump(deadline - time.monotonic()):
                raise Disconnected("the server does not answer")

    def publish(self, name, payload=""):
        self._publish("mb." + subject(name), "", encode(MESSAGE, name, self.sender, payload))

    def reply(self, request, name, payload="", for_all=True):
        self._publish(request.reply_to, "", encode(REPLY, name, self.sender, payload, IS_REPLY))
        if for_all:
            self.publish(name, payload)

    def request(self, name, payload="", timeout=5.0):
        """The reply. NobodyThere, or BusError for a refusal and when the time is over."""
        inbox = self._inbox + secrets.token_hex(8)
        message = encode(REQUEST, name, self.sender, payload, WANTS_REPLY, int(timeout * 1000))
        self._publish("mq." + subject(name), inbox, message)
        deadline = time.monotonic() + timeout
        while inbox not in self._replies:
            if not self._pump(deadline - time.monotonic()):
                raise BusError(name + ": no answer in time")
        reply = self._replies.pop(inbox)
        if reply is None:
            raise NobodyThere(name + ": nobody is there")
        if reply.kind != REPLY:
            raise BusError("%s: refused, 0x%08X" % (name, reply.session))
        return reply

    def run(self, timeout, also=None):
        """Hands out what has come; waits at most that long for it. True when the file in also can be read."""
        ready = False
        if not self._waiting:
            ready = self._pump(timeout, also) == "also"
        while self._waiting:
            handler, received = self._waiting.popleft()
            handler(received)
        return ready

    @staticmethod
    def _subject(name):
        return subject(name[:-2]) + ".>" if name.endswith(".>") else subject(name)

    def _subscribe(self, to, handler):
        number = str(len(self._handlers) + 1)
        self._handlers[number] = handler
        self._send("SUB %s %s" % (to, number))

    def _publish(self, to, reply, payload):
        self._write(("PUB %s %s %d\r\n" % (to, reply, len(payload))).encode() + payload + b"\r\n")

    def _send(self, line):
        self._write(line.encode() + b"\r\n")

    def _write(self, data):
        try:
            self._socket.sendall(data)
        except OSError as error:
            raise Disconnected(str(error)) from error

    # Takes in what comes in that time. False when nothing does.
    def _pump(self, timeout, also=None):
        if self._take():
            return True
        files = [self._socket] + ([also] if also else [])
        readable = select.select(files, [], [], max(0, timeout))[0]
        if self._socket not in readable:
            return "also" if readable else False
        try:
            data = self._socket.recv(1 << 16)
        except OSError as error:
            raise Disconnected(str(error)) from error
        if not data:
            raise Disconnected("the server has closed the connection")
        self._buffer += data
        while self._take():
            pass
        return True

    # One line of the server's, with what belongs to it.
    def _take(self):
        line, found, rest = self._buffer.partition(b"\r\n")
        if not found:
            return False
        words = line.split(b" ")
        if words[0] not in (b"MSG", b"HMSG"):
            self._buffer = rest
            if line == b"PING":
                self._send("PONG")
            elif line == b"PONG":
                self._pong = True
            elif line.startswith(b"-ERR"):
                # A denied subject is said of, and the connection stays.
                if b"Permissions" not in line:
                    raise Disconnected("the server says: " + line.decode(errors="replace"))
            return True
        size = int(words[-1])
        if len(rest) < size + 2:
            return False
        self._buffer = rest[size + 2:]
        headers = int(words[-2]) if words[0] == b"HMSG" else 0
        reply_to = words[3].decode() if len(words) == (6 if headers else 5) else ""
        self._dispatch(words[1].decode(), words[2].decode(), reply_to, rest[:headers], rest[headers:size])
        return True

    def _dispatch(self, to, number, reply_to, headers, payload):
        decoded = decode(payload)
        if to.startswith(self._inbox):
            if headers.startswith(b"NATS/1.0 503"):
                self._replies[to] = None
            elif decoded:
                kind, value, session, texts = decoded
                self._replies[to] = Received(kind, *texts, value if kind == REFUSAL else session, reply_to)
        elif decoded and self._handlers.get(number) and subject(decoded[3][0]) == to.partition(".")[2]:
            kind, _, session, texts = decoded
            self._waiting.append((self._handlers[number], Received(kind, *texts, session, reply_to)))
