"""The other end of the root helper's socket, as a script would write it.

helper_client.py SOCKET command NAME [XML-PATH]   prints the error code of the response
                        keys NAME KEY=TEXT...     the same with other keys; "yes" stands for true
                        version                   prints code and version
                        frame LENGTH [FILE]       announces LENGTH bytes and sends those of the file (or as many blanks)
                        slow                      sends one byte a second; prints how it was answered
                        crowd NUMBER              connects so often, and holds on until standard input ends
                        clone XML-PATH            prints the code, and "ended" once the helper's pipe has come to its end
"""
import plistlib
import socket
import struct
import sys
import time

PREFIX = "com.apple.dts.BetterAuthorizationSample."
FORM = bytes(32)


def connect(path):
    s = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
    s.settimeout(100)
    s.connect(path)
    return s


def read(s, size):
    data = b""
    while len(data) < size:
        more = s.recv(size - len(data))
        if not more:
            raise EOFError
        data += more
    return data


def response(s):
    return plistlib.loads(read(s, struct.unpack("=I", read(s, 4))[0]))


def code(s):
    try:
        return response(s)[PREFIX + "error"]
    except (EOFError, ConnectionError):
        return "closed"


def send(s, data):
    try:
        s.sendall(data)
    except (BrokenPipeError, ConnectionResetError):
        pass


def request(name, path=None, more=()):
    body = {PREFIX + "command": name}
    if path is not None:
        body["kXMLPathKey"] = path
    for key, text in (one.split("=", 1) for one in more):
        body[key] = True if text == "yes" else text
    body = plistlib.dumps(body)
    return FORM + struct.pack("=I", len(body)) + body


def frame(s, length, file):
    body = open(file, "rb").read() if file else b" " * min(length, 1 << 21)
    send(s, FORM + struct.pack("=I", length) + body)
    return code(s)


def slow(s):
    try:
        for byte in request("GetVersion"):
            s.send(bytes([byte]))
            time.sleep(1)
    except (BrokenPipeError, ConnectionResetError):
        pass
    return code(s)


def crowd(path, number):
    held = []
    for _ in range(number):
        s = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        s.setblocking(False)
        try:
            s.connect(path)
            held.append(s)
        except BlockingIOError:  # the queue is full: some are taken, some are turned away
            time.sleep(0.001)
    print("holding", flush=True)
    sys.stdin.read()
    return len(held) > 0


def clone(s, path):
    send(s, request("GetUIDs", path))
    answer = response(s)
    print(answer[PREFIX + "error"], flush=True)
    if answer[PREFIX + "error"] != 0:
        return None
    assert len(answer[PREFIX + "descriptors"]) == 1
    with open(socket.recv_fds(s, 1, 4)[1][0], "rb") as pipe:
        assert pipe.read() == b""
    return "ended"


def main(path, what, *rest):
    if what == "crowd":
        return crowd(path, int(rest[0]))
    s = connect(path)
    if what == "frame":
        return frame(s, int(rest[0]), rest[1] if len(rest) > 1 else None)
    if what == "slow":
        return slow(s)
    if what == "clone":
        return clone(s, rest[0])
    if what == "version":
        send(s, request("GetVersion"))
        answer = response(s)
        return f"{answer[PREFIX + 'error']} {answer['Version']}"
    if what == "keys":
        send(s, request(rest[0], more=rest[1:]))
        return code(s)
    send(s, request(*rest))
    return code(s)


if __name__ == "__main__":
    result = main(*sys.argv[1:])
    if result is not None:
        print(result)
