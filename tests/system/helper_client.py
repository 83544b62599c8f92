"""The other end of the root helper's socket, as a script would write it.

helper_client.py SOCKET command NAME [XML-PATH]   prints the error code of the response
                        keys NAME KEY=TEXT...     the same with other keys; "yes" stands for true
                        version                   prints code and version
                        clone XML-PATH            prints the code, and "ended" once the helper's pipe has come to its end
"""
import plistlib
import socket
import struct
import sys

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
    s = connect(path)
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
