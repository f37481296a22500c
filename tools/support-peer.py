#!/usr/bin/env python3
"""A person at the centre's support desk, scripted: joins a chat channel,
waits for the provider's nickname to appear there, greets it once in a
private message, then stays (answering PING) until it is stopped. Lines go
out in the agent's code page, Windows-1252.

usage: support-peer.py HOST PORT NICK CHANNEL PROVIDER [MESSAGE]
"""
import socket
import sys
import time

GREETING = "Buen día! Aquí soporte del centro: lo vemos en línea."

host, port, nick, channel, provider = sys.argv[1:6]
message = sys.argv[6] if len(sys.argv) > 6 else GREETING
port = int(port)

sock = None
for _ in range(100):  # the server may still be starting
    try:
        sock = socket.create_connection((host, port), timeout=5)
        break
    except OSError:
        time.sleep(0.2)
if sock is None:
    sys.exit("support-peer: no chat server at %s:%d" % (host, port))
sock.settimeout(1)


def send(line):
    sock.sendall(line.encode("cp1252", "replace") + b"\r\n")


send("NICK " + nick)
send("USER %s 0 * :Soporte" % nick)
greeted = False
buffer = b""
while True:
    try:
        data = sock.recv(4096)
    except socket.timeout:
        data = None
    if data == b"":
        break
    if data:
        buffer += data
    while b"\r\n" in buffer:
        raw, buffer = buffer.split(b"\r\n", 1)
        line = raw.decode("cp1252", "replace")
        words = line.split(" ")
        if words[0] == "PING":
            send("PONG " + " ".join(words[1:]))
        elif len(words) > 1 and words[1] == "001":
            send("JOIN " + channel)
        elif not greeted and len(words) > 1 and (
            (words[1] == "JOIN" and words[0][1:].split("!")[0].lower() == provider.lower())
            or (words[1] == "353" and provider.lower() in
                [n.lstrip("@+%&~") for n in line.lower().split(":")[-1].split()])
        ):
            send("PRIVMSG %s :%s" % (provider, message))
            print("support-peer: greeted " + provider, flush=True)
            greeted = True
    if not greeted and data is None:
        send("NAMES " + channel)  # ask again who is there
