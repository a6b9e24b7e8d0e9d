"""The configuration store and the service of an installed daemon in RRM mode.

rrm_peers.py BUS STORE PORT: answers "get" requests on the bus socket BUS from STORE, a JSON file of
paths and values, and accepts every subscription on the loopback port PORT. Prints a line for each
subscription: "subscribed, radios up: 1 1 0" means three radios, the last of which is down.
"""
import asyncio
import json
import os
import struct
import sys

import websockets

CONFIGD = 1
HELLO, START, TEXT = 1, 2, 4
MAGIC = 0x4D534750
HEAD = struct.Struct("=IIBBB6x")  # magic, length of the text, kind, sender, addressee


async def connect_bus(path):
    """Waits for the broker. Enters its folder, because the path of a socket must be short."""
    while True:
        try:
            os.chdir(os.path.dirname(path))
            return await asyncio.open_unix_connection(os.path.basename(path))
        except OSError:
            await asyncio.sleep(0.1)


async def serve_store(path, store):
    while True:
        try:
            await serve_store_until_the_bus_ends(*await connect_bus(path), store)
        except (asyncio.IncompleteReadError, OSError):
            pass


async def serve_store_until_the_bus_ends(reader, writer, store):
    for kind in (HELLO, START):
        writer.write(HEAD.pack(MAGIC, 0, kind, CONFIGD, 0))

    while True:
        _, length, kind, sender, _ = HEAD.unpack(await reader.readexactly(HEAD.size))
        text = await reader.readexactly(length)
        if kind != TEXT:
            continue
        value = store.get(json.loads(text).get("path"))
        answer = {"command": "get-response", "status": "fail" if value is None else "ok"}
        if value is not None:
            answer["value"] = value
        text = json.dumps(answer).encode()
        writer.write(HEAD.pack(MAGIC, len(text), TEXT, CONFIGD, sender) + text)


async def serve_subscriptions(connection, *_):
    while True:
        try:
            message = json.loads(await connection.recv())
        except websockets.ConnectionClosed:  # a daemon that is killed does not say goodbye
            return
        if message["cmd"] != "subscribe-request":
            continue
        await connection.send(json.dumps({"version": "2.4", "service": "rrm",
                                          "cmd": "subscribe-response", "status": "success"}))
        print("subscribed, radios up:", *(radio["status"] for radio in message["radios"]),
              flush=True)


async def main(bus, store, port):
    with open(store, encoding="utf-8") as file:
        values = json.load(file)
    async with websockets.serve(serve_subscriptions, "127.0.0.1", int(port),
                                subprotocols=["websock-rrm"]):
        await serve_store(os.path.abspath(bus), values)


if __name__ == "__main__":
    asyncio.run(main(*sys.argv[1:]))
