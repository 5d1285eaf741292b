// The simulated meter of the page with the program that runs on it: everything that the page can do,
// without what it looks like.

import { Alarms } from "./clock.mjs";
import { typedBytes } from "./keyboard.mjs";
import { LivePace } from "./live_pace.mjs";
import { ProgramRun } from "./program_run.mjs";
import { leftWithoutSaving, nextSave } from "./questions.mjs";
import { StoreTools } from "./store_tools.mjs";
import { readableParts, transcriptOf } from "./transcript.mjs";

const slowest = 1;
const fastest = 100;

export function validSpeed(speed) {
    const number = Number(speed);
    return Number.isFinite(number) ? Math.min(Math.max(number, slowest), fastest) : slowest;
}

// What the part of the address after "#" says of the start.
export function startFromFragment(fragment, factory) {
    const words = new URLSearchParams(fragment.replaceAll("+", "%2B"));
    const programArguments = words.get("arguments") ?? "-m";
    return {
        programArguments: programArguments.split("+").filter(Boolean),
        speed: validSpeed(words.get("speed") ?? slowest),
        store: words.get("store") === "empty" ? "" : factory,
        faults: "",
    };
}

export class Meter extends EventTarget {
    // `usual` is what a start has that is not given. Events: "start" after each start, "change" whenever
    // the program has come to a wait or to its end, or the store was changed from outside.
    constructor(engine, factory, usual) {
        super();
        this.engine = engine;
        this.factory = factory;
        this.usual = usual;
        this.tools = new StoreTools(engine);
        this.alarms = new Alarms();
        this.memory = engine.newMemory();
        this.shadowMemory = engine.newMemory();
        this.backspace = 8;
        this.run = null;
    }

    // Ends the present run. The promise is fulfilled when the program waits for a key or has ended.
    // `baseline` is the store that changes are counted from.
    start({ programArguments = this.usual.programArguments, store = this.usual.store,
            faults = this.usual.faults, speed = this.usual.speed, baseline = store } = {}) {
        this.baseline = baseline;
        this.pace?.stop();
        this.pace = new LivePace(this.alarms, validSpeed(speed), () => this.changed());
        const setup = { programArguments, store, faults, factory: this.factory };
        this.run = new ProgramRun(this.engine, this.memory, setup, this.pace);
        this.run.start();
        this.dispatchEvent(new Event("start"));
        this.changed();
        return this.settled();
    }

    // A new run that differs from this one only in `changes`, and keeps its store.
    startAgain(changes = {}) {
        const { programArguments, faults } = this.run.setup;
        const store = changes.store ?? this.run.store;
        const baseline = changes.store ?? this.baseline;
        return this.start({ programArguments, faults, speed: this.speed, ...changes, store, baseline });
    }

    changed() {
        this.dispatchEvent(new Event("change"));
    }

    settled() {
        return new Promise(resolve => {
            const look = () => {
                if (!this.waiting && this.exited === null)
                    return;
                this.removeEventListener("change", look);
                resolve();
            };
            this.addEventListener("change", look);
            look();
        });
    }

    // What the terminal gives for a key or a paste.
    type(text) {
        this.pace.type(typedBytes(text, this.backspace));
    }

    get waiting() {
        return this.pace.waitsForKey;
    }

    get exited() {
        return this.run.exitStatus;
    }

    get speed() {
        return this.pace.speed;
    }

    set speed(speed) {
        this.pace.setSpeed(validSpeed(speed));
    }

    get store() {
        return this.run.store;
    }

    // Throws an Error with line and reason when `text` is no store; the store is then as it was.
    replaceStore(text) {
        this.tools.checkStore(text);
        this.run.replaceStore(text);
        this.changed();
    }

    get calls() {
        return this.run.calls;
    }

    // Trace lines of what a save at this moment would write, in order; null: there is nothing to save.
    nextSave() {
        return this.exited === null ? nextSave(this.engine, this.shadowMemory, this.run) : null;
    }

    // The session up to now as a transcript. One that goes on is left without saving in it.
    transcript(shows) {
        const whole = this.exited === null
            ? leftWithoutSaving(this.engine, this.shadowMemory, this.run) : this.run;
        return transcriptOf(whole, this.tools, shows);
    }

    // The session for reading: parts {text, typed}.
    readable() {
        return readableParts(this.run);
    }

    // How the store differs from what it was before the first of the runs on this meter.
    changes() {
        return this.tools.changes(this.baseline, this.store);
    }
}
