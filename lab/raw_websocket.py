"""WebSocket services that misbehave or send frame by frame, independent of the lab's own service.

raw_websocket.py BEHAVIOUR PORT: listens on the loopback address and treats every connection as
BEHAVIOUR says (see the function of that name). Prints a line for each connection.
"""
import asyncio
import base64
import hashlib
import socket
import struct
import sys
import threading
import time

GUID = b"258EAFA5-E914-47DA-95CA-C5AB0DC85B11"
CONTINUATION, TEXT, BINARY, CLOSE, PING = 0, 1, 2, 8, 9
MESSAGE = b'{"text":"0123456789"}'


def handshake(connection, answer=None):
    """Reads the request, and accepts it or sends `answer` instead."""
    request = b""
    while b"\r\n\r\n" not in request:
        piece = connection.recv(4096)
        if not piece:
            return
        request += piece
    headers = dict(line.split(b": ", 1) for line in request.split(b"\r\n")[1:] if b": " in line)
    accept = base64.b64encode(hashlib.sha1(headers[b"Sec-WebSocket-Key"] + GUID).digest())
    connection.sendall(answer or (
        b"HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
        b"Sec-WebSocket-Accept: " + accept + b"\r\nSec-WebSocket-Protocol: " +
        headers[b"Sec-WebSocket-Protocol"] + b"\r\n\r\n"))


def frame(opcode, payload=b"", final=True):
    head = bytes([opcode | (0x80 if final else 0)])
    if len(payload) < 126:
        return head + bytes([len(payload)]) + payload
    if len(payload) < 65536:
        return head + b"\x7e" + struct.pack(">H", len(payload)) + payload
    return head + b"\x7f" + struct.pack(">Q", len(payload)) + payload


def masked(payload):
    """A masked text, as only a client may send it. libwebsockets reads it if it comes first."""
    key = b"\x01\x80\x00\xff"
    head = frame(TEXT, payload)[:-len(payload)]
    return (head[:1] + bytes([head[1] | 0x80]) + head[2:] + key +
            bytes(byte ^ key[at % 4] for at, byte in enumerate(payload)))


def numbered(size):
    """A text that is different at every place, so that a lost or repeated piece shows."""
    return b"".join(b"%d " % number for number in range(size))[:size]


def reset(connection):
    connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
    connection.close()


def hold(connection):
    while connection.recv(65536):
        pass


def every_split(connection):
    """MESSAGE in two fragments and in two segments, at every place, with pings in between."""
    handshake(connection)
    connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
    for at in range(len(MESSAGE) + 1):
        connection.sendall(frame(TEXT, MESSAGE[:at], final=False) + frame(PING, b"between") +
                           frame(CONTINUATION, b"", final=False) +
                           frame(CONTINUATION, MESSAGE[at:]))
    whole = frame(TEXT, MESSAGE)
    for at in range(1, len(whole)):
        connection.sendall(whole[:at])
        time.sleep(0.002)
        connection.sendall(whole[at:])
    connection.sendall(frame(BINARY, b"\x01\xff\x00\xfe") + frame(TEXT, b"") + frame(TEXT, b"end"))
    hold(connection)


def one_byte_at_a_time(connection):
    handshake(connection)
    connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
    for byte in frame(TEXT, MESSAGE) + frame(TEXT, b"end"):
        connection.sendall(bytes([byte]))
        time.sleep(0.001)
    hold(connection)


def around_the_buffer(connection):
    """Texts about as large as a receive buffer: a masked one, then 15 of each size. The first three
    of a size come in a row, the third in fragments with pings in between. The other twelve come in
    two segments each, cut around the ends of the head, of a receive buffer, and of the frame."""
    handshake(connection)
    connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
    time.sleep(0.3)  # until the daemon has told the bus about the connection
    connection.sendall(masked(numbered(5000)))
    for size in (edge + off for edge in (4096, 65536, 131072) for off in (-1, 0, 1)):
        text = numbered(size)
        whole = frame(TEXT, text)
        ping = frame(PING, b"p" * 125)
        fragments = ping.join((frame(TEXT, text[:1], final=False),
                               frame(CONTINUATION, text[1:size // 2], final=False),
                               frame(CONTINUATION, b"", final=False),
                               frame(CONTINUATION, text[size // 2:-1], final=False),
                               frame(CONTINUATION, text[-1:])))
        connection.sendall(whole + whole + fragments)
        head = len(whole) - size
        for cut in (head + edge + off for edge in (0, 4096, 65536, size) for off in (-1, 0, 1)):
            connection.sendall(whole[:cut])
            time.sleep(0.002)
            connection.sendall(whole[cut:])
    hold(connection)


def with_the_handshake(connection):
    """Frames in the same segment as the acceptance of the connection."""
    class late:
        def __init__(self):
            self.sent = b""

        def recv(self, size):
            return connection.recv(size)

        def sendall(self, data):
            self.sent += data
    held = late()
    handshake(held)
    connection.sendall(held.sent + frame(TEXT, MESSAGE) * 20 + frame(TEXT, b"end"))
    hold(connection)


def half_then_reset(connection):
    handshake(connection)
    connection.sendall(frame(TEXT, b"x" * 100, final=False) + frame(CONTINUATION, MESSAGE)[:9])
    time.sleep(0.3)
    reset(connection)


def garbage_frames(connection):
    handshake(connection)
    connection.sendall(bytes(range(255, 0, -1)) * 8)
    hold(connection)


def huge_announcement(connection):
    handshake(connection)
    connection.sendall(b"\x81\x7f" + struct.pack(">Q", 1 << 40) + b"x" * 100000)
    hold(connection)


def endless_message(connection):
    handshake(connection)
    piece = frame(CONTINUATION, b"y" * (1 << 20), final=False)
    connection.sendall(frame(TEXT, b"", final=False))
    for _ in range(63):
        connection.sendall(piece)
    connection.sendall(piece[:10 + (1 << 20) - 1000])  # all but the end of the last allowed piece
    time.sleep(0.3)
    connection.sendall(piece[-1000:] + frame(CONTINUATION, b"one too many", final=False) +
                       frame(CONTINUATION, b"tail of it") + frame(TEXT, b"next"))
    hold(connection)


def half_close(connection):
    handshake(connection)
    connection.shutdown(socket.SHUT_WR)
    hold(connection)


def end_while_sending_is_blocked(connection):
    """Reads nothing, and closes its own direction when the daemon's is full."""
    handshake(connection)
    time.sleep(0.5)
    connection.shutdown(socket.SHUT_WR)
    time.sleep(60)


def read_exactly(connection, count):
    data = b""
    while len(data) < count:
        piece = connection.recv(count - len(data))
        if not piece:
            raise OSError("the daemon has gone")
        data += piece
    return data


def ask_for_pongs(connection):
    """Sends pings at odd moments of an idle link and prints how long the slowest pong took."""
    handshake(connection)
    time.sleep(0.5)
    slowest = 0
    for _ in range(20):
        time.sleep(0.037)
        start = time.monotonic()
        connection.sendall(frame(PING, b"?"))
        read_exactly(connection, 2 + 4 + 1)  # head, mask, payload
        slowest = max(slowest, time.monotonic() - start)
    print("slowest pong", round(slowest * 1000), "ms", flush=True)
    hold(connection)


def late_answer(connection):
    time.sleep(2)
    handshake(connection)
    hold(connection)


def redirect(connection):
    """Redirects to this same service, which redirects again."""
    port = connection.getsockname()[1]
    handshake(connection, b"HTTP/1.1 302 Found\r\nLocation: http://127.0.0.1:%d/again\r\n"
              b"Content-Length: 0\r\n\r\n" % port)
    connection.close()


def flood(connection):
    """Sends messages without end, faster than the daemon handles them; a pong would come last."""
    handshake(connection)
    batch = frame(TEXT, b'{"service":"nobody","filler":"' + b"x" * 300 + b'"}') * 3000
    while True:
        connection.sendall(batch)


def answer(text):
    return lambda connection: (handshake(connection, text), connection.close())


BEHAVIOURS = {
    "every-split": every_split,
    "one-byte-at-a-time": one_byte_at_a_time,
    "around-the-buffer": around_the_buffer,
    "with-the-handshake": with_the_handshake,
    "half-then-reset": half_then_reset,
    "garbage-frames": garbage_frames,
    "huge-announcement": huge_announcement,
    "endless-message": endless_message,
    "half-close": half_close,
    "end-while-sending-is-blocked": end_while_sending_is_blocked,
    "close-frame": lambda c: (handshake(c), c.sendall(frame(CLOSE, struct.pack(">H", 1001)))),
    "http-200": answer(b"HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nhi"),
    "http-401": answer(b"HTTP/1.1 401 Unauthorized\r\nContent-Length: 0\r\n\r\n"),
    "http-404": answer(b"HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n"),
    "not-http": answer(b"\x00\x01 what is this\r\n\r\n" * 50),
    "wrong-accept": answer(b"HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection:"
                           b" Upgrade\r\nSec-WebSocket-Accept: bm8=\r\n\r\n"),
    "end-before-answer": lambda c: (c.recv(10), c.close()),
    "reset-before-answer": lambda c: (c.recv(10), reset(c)),
    "silence": hold,
    "late-answer": late_answer,
    "ask-for-pongs": ask_for_pongs,
    "redirect": redirect,
    "flood": flood,
}


def serve_raw(behave, port):
    listener = socket.create_server(("127.0.0.1", port))

    def serve(connection):
        try:
            behave(connection)
        except OSError:
            pass

    while True:
        connection, _ = listener.accept()
        print("connection", flush=True)
        threading.Thread(target=serve, args=(connection,), daemon=True).start()


def serve_echo(port):
    """A well-behaved service of another library: sends messages back; compresses if allowed."""
    import websockets

    async def echo(connection, *_):
        print("connection", connection.subprotocol, flush=True)
        async for message in connection:
            await connection.send(message)

    async def main():
        async with websockets.serve(echo, "127.0.0.1", port, subprotocols=["websock-roaming"],
                                    max_size=None):
            await asyncio.Future()

    asyncio.run(main())


if __name__ == "__main__":
    name, where = sys.argv[1], int(sys.argv[2])
    if name == "echo":
        serve_echo(where)
    else:
        serve_raw(BEHAVIOURS[name], where)
