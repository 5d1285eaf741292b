// The host object for node. It gives the program the terminal and the clock of this machine. host_calls.h
// describes its functions.
"use strict";

const childProcess = require("child_process");
const fs = require("fs");
const { isatty } = require("tty");

// The bits of the terminal's local modes in the C library of the program.
const localModes = { isig: 0o1, icanon: 0o2, echo: 0o10 };

// Standard input as a queue of bytes. Like a terminal driver, it accepts bytes before the program reads them.
class Keyboard {
    constructor() {
        this.bytes = [];
        this.ended = false;
        this.onChange = null;
    }

    start() {
        process.stdin.on("data", chunk => this.take(chunk));
        process.stdin.on("end", () => this.end());
        process.stdin.on("error", () => this.end()); // the terminal was closed
    }

    take(chunk) {
        this.bytes.push(...chunk);
        this.onChange?.();
    }

    end() {
        this.ended = true;
        this.onChange?.();
    }

    get readable() {
        return this.bytes.length > 0 || this.ended;
    }

    read() {
        return this.bytes.length > 0 ? this.bytes.shift() : null; // null: the input has ended
    }
}

// Collects single bytes and writes many of them together to a file descriptor.
class Output {
    constructor(descriptor) {
        this.descriptor = descriptor;
        this.bytes = [];
    }

    add(byte) {
        this.bytes.push(byte & 0xff);
        if (this.bytes.length >= 65536)
            this.flush();
    }

    flush() {
        let rest = Buffer.from(this.bytes);
        this.bytes = [];
        while (rest.length > 0)
            rest = rest.subarray(this.writeSome(rest));
    }

    writeSome(bytes) {
        try {
            return fs.writeSync(this.descriptor, bytes);
        } catch (error) {
            if (error.code !== "EAGAIN")
                throw error;
            Atomics.wait(new Int32Array(new SharedArrayBuffer(4)), 0, 0, 1); // waits for the slow reader
            return 0;
        }
    }
}

function stty(...settings) {
    return childProcess.spawnSync("stty", settings, {
        stdio: ["inherit", "pipe", "ignore"], encoding: "latin1",
    }).stdout;
}

class NodeHost {
    constructor() {
        this.keyboard = new Keyboard();
        this.output = new Output(1);
        this.errors = new Output(2);
        this.millisecondsLeft = 0;
    }

    start() {
        this.keyboard.start();
    }

    flush() {
        this.output.flush();
        this.errors.flush();
    }

    readKey() {
        return this.keyboard.read();
    }

    waitForKey(milliseconds, wake) {
        this.flush();
        this.millisecondsLeft = Math.max(milliseconds, 0);
        if (this.keyboard.readable) {
            wake(1);
            return;
        }
        const end = performance.now() + milliseconds;
        const finish = result => {
            clearTimeout(timer);
            this.keyboard.onChange = null;
            this.millisecondsLeft = Math.max(end - performance.now(), 0);
            this.resume(() => wake(result));
        };
        const check = () => {
            const left = end - performance.now();
            if (left <= 0)
                finish(0);
            else
                timer = setTimeout(check, Math.ceil(left));
        };
        this.keyboard.onChange = () => finish(1);
        let timer = milliseconds < 0 ? undefined : setTimeout(check, Math.ceil(milliseconds));
    }

    // Continues the program. Ignores the exception that ends it, because `onExit` has handled the end.
    resume(wake) {
        try {
            wake();
        } catch (error) {
            if (error?.name !== "ExitStatus")
                throw error;
        }
    }

    timeLeft() {
        return this.millisecondsLeft;
    }

    pause(milliseconds, wake) {
        this.flush();
        setTimeout(() => this.resume(wake), milliseconds);
    }

    localModes() {
        if (!isatty(0))
            return -1;
        const words = stty("-a").split(/[\s;]+/);
        return Object.entries(localModes).reduce(
            (modes, [name, bit]) => words.includes(name) ? modes | bit : modes, 0);
    }

    setLocalModes(modes) {
        stty(...Object.entries(localModes).map(([name, bit]) => modes & bit ? name : `-${name}`));
    }
}

module.exports = { NodeHost };
