// Replaces scripted_wait.cpp for the web build under node. The variable NODE_OPTIONS makes node load this
// file before the program. Each time the program asks for a key, this file reads one byte from standard
// input. A wait ends in a later turn of the event loop, like a real wait.
"use strict";

const fs = require("fs");
const { NodeHost } = require("../../web/node_host.js");

const scriptExhausted = 97;
const millisecondsLeft = 7123.456;

class ScriptedHost extends NodeHost {
    constructor() {
        super();
        this.events = fs.readFileSync(process.env.SCRIPTED_WAIT, "latin1");
        this.log = fs.openSync(process.env.SCRIPTED_WAIT_LOG, "w");
        this.waits = 0;
        this.keysRead = 0;
        this.bytesShown = 0;
        this.output.writeSome = bytes => {
            this.bytesShown += bytes.length;
            return fs.writeSync(1, bytes);
        };
    }

    start() {}

    readKey() {
        const key = Buffer.alloc(1);
        if (fs.readSync(0, key, 0, 1, this.keysRead) === 0)
            return null;
        ++this.keysRead;
        return key[0];
    }

    waitForKey(milliseconds, wake) {
        this.flush();
        const seconds = Math.floor(milliseconds / 1000);
        const microseconds = Math.round((milliseconds - seconds * 1000) * 1000);
        fs.writeSync(this.log, `${seconds} ${microseconds} ${this.keysRead} ${this.bytesShown}\n`);
        const event = this.events[this.waits++];
        if (event === undefined)
            process.exit(scriptExhausted);
        setImmediate(() => this.resume(() => wake({ k: 1, t: 0, i: -1 }[event])));
    }

    timeLeft() {
        return millisecondsLeft;
    }
}

if (process.env.SCRIPTED_WAIT)
    globalThis.meterHost = new ScriptedHost();
