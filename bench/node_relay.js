// The roaming relay as somebody would otherwise write it: Node.js with `ws`, between the same
// WebSocket service and the same bus socket. node_relay.js URL
'use strict';
const net = require('net');
const WebSocket = require('ws');

const HEAD = 17;
const MAGIC = 0x4d534750;
const [HELLO, START, TEXT] = [1, 2, 4];
const MODULE = 2;
const PEER = 3;

function frame(kind, destination, text) {
    const head = Buffer.alloc(HEAD);
    head.writeUInt32LE(MAGIC, 0);
    head.writeUInt32LE(text.length, 4);
    head[8] = kind;
    head[9] = MODULE;
    head[10] = destination;
    return Buffer.concat([head, text]);
}

const bus = net.connect('/run/peermsg/bus');
const none = Buffer.alloc(0);
bus.write(frame(HELLO, 0, none));
bus.write(frame(START, 0, none));

const service = new WebSocket(process.argv[2], 'websock-roaming', {perMessageDeflate: false});
service.on('message', (text) => bus.write(frame(TEXT, PEER, text)));
service.on('close', () => process.exit(0));

let waiting = [];
let size = 0;
bus.on('data', (piece) => {
    waiting.push(piece);
    size += piece.length;
    if (size < HEAD) return;
    let bytes = waiting.length === 1 ? waiting[0] : Buffer.concat(waiting, size);
    while (bytes.length >= HEAD) {
        const end = HEAD + bytes.readUInt32LE(4);
        if (bytes.length < end) break;
        if (bytes[8] === TEXT && service.readyState === WebSocket.OPEN) {
            service.send(bytes.subarray(HEAD, end), {binary: false});
        }
        bytes = bytes.subarray(end);
    }
    waiting = bytes.length ? [bytes] : [];
    size = bytes.length;
});
