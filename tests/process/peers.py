"""Peers without any of the agent's code, for tests that look at agents from outside."""

import contextlib
import json
import socket
import struct

from support import PATIENCE

HELLO = {"type": "hello", "protocol": 1, "agent": "raw", "publisher": "raw"}


def frame(content):
    """A frame of the wire: a text as it is, anything else as JSON."""
    payload = content if isinstance(content, bytes) else json.dumps(content).encode()
    return struct.pack(">I", len(payload)) + payload


def offers(*interfaces):
    """A frame that offers interfaces of these names."""
    entries = [{"name": name, "uniqueID": name, "version": 1, "properties": {}} for name in interfaces]
    return frame({"type": "offers", "interfaces": entries})


def connect(path):
    """A raw connection to a unix socket; every operation on it has a bound."""
    peer = socket.socket(socket.AF_UNIX)
    peer.settimeout(PATIENCE)
    peer.connect(str(path))
    return peer


@contextlib.contextmanager
def listening(path):
    """A raw unix socket that listens; its file stays."""
    with socket.socket(socket.AF_UNIX) as server:
        server.settimeout(PATIENCE)
        server.bind(str(path))
        server.listen()
        yield server


def read_frame(peer):
    (size,) = struct.unpack(">I", read_exactly(peer, 4))
    return json.loads(read_exactly(peer, size))


def read_exactly(peer, size):
    content = b""
    while len(content) < size:
        part = peer.recv(size - len(content))
        if not part:
            raise AssertionError(f"the connection ended after {content!r}")
        content += part
    return content


def send(peer, content):
    """Sends as much as the other side takes before it closes the connection."""
    with contextlib.suppress(ConnectionError):
        peer.sendall(content)


def is_closed(peer):
    """Whether the other side closes the connection; what it sends before is passed over."""
    try:
        while peer.recv(65536):
            pass
    except ConnectionResetError:
        pass
    except TimeoutError:
        return False
    return True
