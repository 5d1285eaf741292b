// One run of the program on a meter of its own, from its start to its end.
//
// The pace decides how its waits end: {waitForKey(run, milliseconds, wake), pause(run, milliseconds,
// wake), timeLeft(), readKey(run)}. `wake` is called inside run.resume, or from within the call itself.

import { ByteBuffer } from "./byte_buffer.mjs";

const meterFolder = "/meter";
const callsFile = "/calls";
const usualLocalModes = 0o13; // ISIG, ICANON and ECHO, as a terminal has them before a program starts
const crashStatus = 134; // as a shell reports an abort

// Thrown out of the program to leave it where it is, for good.
export const leaveProgram = new (class LeaveProgram extends Error {})("left");

export class ProgramRun {
    // `setup`: {programArguments, store, faults, factory}, the last three TOML texts; an empty `faults`
    // is no file.
    constructor(engine, memory, setup, pace) {
        this.setup = setup;
        this.pace = pace;
        this.output = new ByteBuffer();
        this.errors = new ByteBuffer();
        this.exitStatus = null;
        // What the program was given, in order: {kind, at, ...}, `at` being the length of the output at
        // that moment. Kinds: "key" (typed), "wait" (seconds: a time-out), "store" (text).
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

    // Lets the program go on by `action`, up to its next wait or its end.
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

    // As another program does it: the time stamps have whole seconds, but a new file is seen as one.
    replaceStore(text) {
        const { FS } = this.instance;
        this.note({ kind: "store", before: this.store, text });
        FS.writeFile(`${meterFolder}/store.toml.page`, text);
        FS.rename(`${meterFolder}/store.toml.page`, `${meterFolder}/store.toml`);
    }

    // The trace so far, one JSON object a line.
    get calls() {
        return this.instance.FS.analyzePath(callsFile).exists ? this.read(callsFile) : "";
    }

    // The standard error of a run elsewhere would name that meter's folder.
    get errorText() {
        return this.errors.text().replaceAll(meterFolder, "METER");
    }
}
