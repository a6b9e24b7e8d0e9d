"""deaf_port.py PORT: a loopback port that answers no attempt to connect."""
import signal
import socket
import sys

place = ("127.0.0.1", int(sys.argv[1]))
listener = socket.socket()
listener.bind(place)
listener.listen(0)
fillers = [socket.socket() for _ in range(3)]  # more than the backlog takes
for filler in fillers:
    filler.setblocking(False)
    filler.connect_ex(place)
signal.pause()
