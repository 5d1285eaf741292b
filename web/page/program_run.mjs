// One run of the program on its own meter, from start to end.
//
// The object `pace` decides how each wait ends. Its functions are waitForKey(run, milliseconds, wake),
// pause(run, milliseconds, wake), timeLeft() and readKey(run). The first two call `wake`, before they return
// or later inside run.resume.

import { ByteBuffer } from "./byte_buffer.mjs";

const meterFolder = "/meter";
const callsFile = "/calls";
const usualLocalModes = 0o13; // ISIG, ICANON and ECHO: the modes of a terminal before a program starts
const crashStatus = 134; // the status that a shell reports for an abort

// A pace throws this exception to end the program.
export const leaveProgram = new (class LeaveProgram extends Error {})("left");

export class ProgramRun {
    // `setup` is {programArguments, store, faults, factory}. The last three are the texts of TOML files. If
    // `faults` is empty, there is no faults.toml.
    constructor(engine, memory, setup, pace) {
        this.setup = setup;
        this.pace = pace;
        this.output = new ByteBuffer();
        this.errors = new ByteBuffer();
        this.exitStatus = null;
        // The inputs so far, as {kind, at, ...}. `at` is the length of the output before the input. The kinds
        // are "key" (the byte `typed`), "wait" (a time-out after `seconds`) and "store" (`before`, `text`).
        this.inputs = [];
        this.localModes = usualLocalModes;
        this.instance = engine.instantiate(memory, {
            host: this.host(),
            thisProgram: "meter-settings",
            preRun: [instance => this.prepare(instance)],
            onExit: status => {
                this.exitStatus = status;
            },
        });
    }

    host() {
        return {
            waitForKey: (milliseconds, wake) => this.pace.waitForKey(this, milliseconds, wake),
            timeLeft: () => this.pace.timeLeft(),
            pause: (milliseconds, wake) => this.pace.pause(this, milliseconds, wake),
            localModes: () => this.localModes,
            setLocalModes: modes => {
                this.localModes = modes;
            },
        };
    }

    prepare({ FS, ENV }) {
        FS.init(() => this.pace.readKey(this), byte => this.output.add(byte),
            byte => this.errors.add(byte));
        ENV.METER_SIM_DIR = meterFolder;
        ENV.METER_SIM_TRACE = callsFile;
        FS.mkdirTree(`${meterFolder}/jffs/downloads`);
        FS.writeFile(`${meterFolder}/factory.toml`, this.setup.factory);
        FS.writeFile(`${meterFolder}/store.toml`, this.setup.store);
        if (this.setup.faults)
            FS.writeFile(`${meterFolder}/faults.toml`, this.setup.faults);
    }

    start() {
        this.resume(() => this.instance.callMain(this.setup.programArguments));
    }

    // Calls `action`, which runs the program until its next wait or its end.
    resume(action) {
        try {
            action();
        } catch (error) {
            if (error !== leaveProgram && error?.name !== "ExitStatus")
                this.crash(error);
        }
    }

    crash(error) {
        for (const byte of new TextEncoder().encode(`The program has crashed: ${error}\n`))
            this.errors.add(byte);
        this.exitStatus = crashStatus;
    }

    note(input) {
        this.inputs.push({ ...input, at: this.output.length });
    }

    read(file) {
        return this.instance.FS.readFile(file, { encoding: "utf8" });
    }

    get store() {
        return this.read(`${meterFolder}/store.toml`);
    }

    // Replaces the store with a new file, as another program does. The program notices a new file even if its
    // time stamp, in whole seconds, is the same.
    replaceStore(text) {
        const { FS } = this.instance;
        this.note({ kind: "store", before: this.store, text });
        FS.writeFile(`${meterFolder}/store.toml.page`, text);
        FS.rename(`${meterFolder}/store.toml.page`, `${meterFolder}/store.toml`);
    }

    // Returns the trace so far, one JSON object per line.
    get calls() {
        return this.instance.FS.analyzePath(callsFile).exists ? this.read(callsFile) : "";
    }

    // Returns the text on standard error, with METER for the meter's directory, which differs between hosts.
    get errorText() {
        return this.errors.text().replaceAll(meterFolder, "METER");
    }
}
