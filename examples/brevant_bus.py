"""The message bus, for programs in Python: docs/bus.md with the standard library only.

One thread: what comes is handed to the subscribers by run(), and waits while request() waits for its answer.
"""
import argparse
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
from typing import Any, Callable, Dict, List, NamedTuple, Optional, Sequence, Tuple

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


class BadAddress(Exception):
    """What names the server is no address of one."""


class Received(NamedTuple):
    kind: int
    name: str
    sender: str
    payload: str
    status: int  # of a refusal
    reply_to: str  # subject; empty when nobody waits for a reply


Handler = Callable[[Received], None]
Address = Tuple[str, int, str, str]  # host, port, user, password


def object_of(text: str) -> Dict[str, Any]:
    """The JSON object that a text is; an empty one when it is none, whatever others have sent."""
    try:
        value = json.loads(text)
    except (ValueError, RecursionError):
        return {}
    return value if isinstance(value, dict) else {}


def objects(value: Any) -> List[Dict[str, Any]]:
    """The objects in a JSON array; none when it is no array."""
    return [each for each in value if isinstance(each, dict)] if isinstance(value, list) else []


def units(text: str) -> bytes:
    return text.encode("utf-16-le", "surrogatepass")


def text_of(data: bytes) -> str:
    return data.decode("utf-16-le", "surrogatepass")


def token(word: str) -> str:
    if not word:
        return "%E"
    result = ""
    for character in word:
        if 0xD800 <= ord(character) <= 0xDFFF:
            result += "%%u%04X" % ord(character)
            continue
        result += "".join(chr(byte) if byte in PLAIN else "%%%02X" % byte for byte in character.encode())
    return result


def subject(name: str) -> str:
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


def encode(kind: int, name: str, sender: str, payload: str, flags: int = 0, timeout: int = 0) -> bytes:
    texts = [units(text) for text in (name, sender, payload)]
    lengths = [len(text) // 2 for text in texts]
    header = struct.pack("<HIIH88xHHI", 1, 114 + 2 * sum(lengths), flags, 2, 11, 8, 0)
    return struct.pack(PREFIX, b"BMSG", 1, kind, 0, bytes(16), 0, 0, timeout, *lengths) + header + b"".join(texts)


def decode(data: bytes, reply_to: str = "") -> Optional[Received]:
    """None for what is no message."""
    if len(data) < 164:
        return None
    magic, version, kind, _, _, _, _, value, *lengths = struct.unpack_from(PREFIX, data)
    if magic != b"BMSG" or version != 1 or len(data) != 164 + 2 * sum(lengths):
        return None
    texts, at = [], 164
    for length in lengths:
        texts.append(text_of(data[at:at + 2 * length]))
        at += 2 * length
    if any("\0" in text for text in texts):
        return None
    return Received(kind, *texts, value if kind == REFUSAL else 0, reply_to)


def add_options(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("--url", default="", help="the server, nats://127.0.0.1:PORT; usually BREVANT_BUS, "
                        "or that of the host that runs here")
    parser.add_argument("--user", default="", help="usually that of the role, which the host has left")
    parser.add_argument("--password", default="", help="as --user; other accounts can read command lines")


def find(role: str, options: Optional[argparse.Namespace] = None) -> Address:
    """The bus that this machine uses, found as MessageBus.dll does, but for the registry."""
    data = os.environ["ProgramData"] if os.name == "nt" else (
        os.environ.get("BREVANT_PLATFORM_DIR") or "/var/lib/brevant") + "/data"
    folder = pathlib.Path(data, "Corvane/Brevant/bus")
    connection = lines_of(folder / "connection")
    url = (options and options.url) or os.environ.get("BREVANT_BUS")
    if not url and is_running(connection):
        url = connection.get("url")
    if not url or url == "embedded":
        raise Disconnected("no host with a server runs here, and neither --url nor BREVANT_BUS names one")
    host, port, user, password = parse(url)
    if options and options.user:
        user, password = options.user, options.password
    elif not user:
        known = lines_of(folder / (role + ".credentials"))
        # A password is for the server that it was made for.
        if "server" not in known or parse(known["server"])[:2] == (host, port):
            user, password = known.get("user", ""), known.get("password", "")
    return host, port, user, password


def lines_of(file: pathlib.Path) -> Dict[str, str]:
    try:
        text = file.read_text("utf-8")
    except (FileNotFoundError, NotADirectoryError):
        return {}
    except (OSError, UnicodeDecodeError) as error:
        raise BusError("cannot read %s: %s" % (file, error)) from error  # a role is for who may read its password
    return {key.strip(): value.strip() for key, _, value in (line.partition("=") for line in text.split("\n"))}


def is_running(connection: Dict[str, str]) -> bool:
    """Whether the host that has left the file still runs, and its process id is not another's by now."""
    if os.name == "nt" or "host" not in connection:
        return "host" in connection
    try:
        stat = pathlib.Path("/proc", connection["host"], "stat").read_text(errors="replace")
    except OSError:
        return False
    return connection.get("start", "0") in ("0", stat.rpartition(")")[2].split()[19])


def parse(url: str) -> Address:
    try:
        parts = urllib.parse.urlsplit(url)
        host, port = parts.hostname or "", parts.port or 0
    except ValueError:
        host, port = "", 0
    # A password goes in clear text, so not to other machines.
    if not port or parts.scheme != "nats" or not (host in ("localhost", "::1") or host.startswith("127.")):
        raise BadAddress("not the address of a server on this machine, nats://127.0.0.1:PORT: %r" % url)
    user, password = (urllib.parse.unquote(text or "") for text in (parts.username, parts.password))
    return "127.0.0.1" if host == "localhost" else host, port, user, password


class Bus:
    def __init__(self, sender: str, at: Address) -> None:
        self.sender = sender
        host, port, user, password = at
        self._buffer = b""
        self._handlers: Dict[str, Tuple[int, Optional[Handler]]] = {}  # by subscription, with its kind
        self._waiting: "collections.deque[Tuple[Handler, Received]]" = collections.deque()
        self._inbox = ("_INBOX_" + user if user else "_INBOX") + "." + secrets.token_hex(16) + "."
        self._answers: Dict[str, List[Optional[Received]]] = {}  # of the requests that wait, by subject
        self._most = 1 << 20  # bytes that the server takes
        self._pong = False
        try:
            self._socket = socket.create_connection((host, port), 5)
        except OSError as error:
            raise Disconnected("no server at %s:%d: %s" % (host, port, error)) from error
        self._socket.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        options: Dict[str, Any] = {"verbose": False, "headers": True, "no_responders": True, "name": sender}
        if user:
            options.update({"user": user, "pass": password})
        self._send("CONNECT " + json.dumps(options))
        self._subscribe(self._inbox + ">", REPLY, None)
        self.settle()

    def close(self) -> None:
        self._socket.close()

    # Names are exact, or "head.>" for all that begin with these words.
    def on_message(self, name: str, handler: Handler) -> None:
        self._subscribe("mb." + self._subject(name), MESSAGE, handler)

    def on_request(self, name: str, handler: Handler) -> None:
        """The handler answers with reply(), once."""
        self._subscribe("mq." + self._subject(name), REQUEST, handler)

    def settle(self) -> None:
        """Until the server has heard all that was said."""
        self._send("PING")
        self._pong = False
        deadline = time.monotonic() + 5
        while not self._pong:
            if not self._pump(deadline - time.monotonic()):
                raise Disconnected("the server does not answer")

    def publish(self, name: str, payload: str = "") -> None:
        self._publish("mb." + subject(name), "", encode(MESSAGE, name, self.sender, payload))

    def reply(self, request: Received, name: str, for_all: bool = True) -> None:
        """for_all: a plain copy besides, for everybody."""
        if request.reply_to:
            self._publish(request.reply_to, "", encode(REPLY, name, self.sender, "", IS_REPLY))
        if for_all:
            self.publish(name)

    def request(self, name: str, payload: str = "", timeout: float = 5.0) -> Received:
        """The reply. NobodyThere, or BusError for a refusal and when the time is over."""
        inbox = self._inbox + secrets.token_hex(8)
        message = encode(REQUEST, name, self.sender, payload, WANTS_REPLY, int(timeout * 1000))
        answers = self._answers[inbox] = []
        try:
            self._publish("mq." + subject(name), inbox, message)
            deadline = time.monotonic() + timeout
            while not answers:
                if not self._pump(deadline - time.monotonic()):
                    raise BusError(name + ": no answer in time")
        finally:
            del self._answers[inbox]
        reply = answers[0]
        if reply is None:
            raise NobodyThere(name + ": nobody is there")
        if reply.kind != REPLY:
            raise BusError("%s: refused, 0x%08X" % (name, reply.status))
        return reply

    def run(self, timeout: float, also: Sequence[Any] = ()) -> List[Any]:
        """Hands out what has come; waits at most that long for it. Those of the files in also that can be read."""
        ready: List[Any] = []
        if not self._waiting:
            self._pump(timeout, also, ready)
        while self._waiting:
            handler, received = self._waiting.popleft()
            handler(received)
        return ready

    @staticmethod
    def _subject(name: str) -> str:
        return subject(name[:-2]) + ".>" if name.endswith(".>") else subject(name)

    def _subscribe(self, to: str, kind: int, handler: Optional[Handler]) -> None:
        number = str(len(self._handlers) + 1)
        self._handlers[number] = kind, handler
        self._send("SUB %s %s" % (to, number))

    def _publish(self, to: str, reply: str, payload: bytes) -> None:
        if len(payload) > self._most:
            raise BusError("the server takes no message of %d bytes" % len(payload))
        self._write(("PUB %s %s %d\r\n" % (to, reply, len(payload))).encode() + payload + b"\r\n")

    def _send(self, line: str) -> None:
        self._write(line.encode() + b"\r\n")

    def _write(self, data: bytes) -> None:
        try:
            self._socket.sendall(data)
        except OSError as error:
            raise Disconnected(str(error)) from error

    # Takes in what comes in that time. False when nothing does.
    def _pump(self, timeout: float, also: Sequence[Any] = (), ready: Optional[List[Any]] = None) -> bool:
        if self._take():
            return True
        readable = select.select([self._socket, *also], [], [], max(0.0, timeout))[0]
        if ready is not None:
            ready += [each for each in readable if each is not self._socket]
        if self._socket not in readable:
            return False
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
    def _take(self) -> bool:
        line, found, rest = self._buffer.partition(b"\r\n")
        if not found:
            return False
        words = line.split(b" ")
        if words[0] not in (b"MSG", b"HMSG"):
            self._buffer = rest
            if line == b"PING":
                self._send("PONG")
            elif line.startswith(b"INFO "):
                self._most = json.loads(line[5:]).get("max_payload", self._most)
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

    def _dispatch(self, to: str, number: str, reply_to: str, headers: bytes, payload: bytes) -> None:
        received = decode(payload, reply_to)
        if to in self._answers:
            if headers.startswith(b"NATS/1.0 503"):
                self._answers[to].append(None)
            elif received:
                self._answers[to].append(received)
            return
        kind, handler = self._handlers.get(number, (0, None))
        # One whose name does not belong to its subject may be of somebody who is not allowed that name.
        if received and handler and received.kind == kind and subject(received.name) == to.partition(".")[2]:
            self._waiting.append((handler, received))
