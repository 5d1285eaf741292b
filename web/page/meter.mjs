// The simulated meter of the page and the program that runs on it. Contains the page without its views.

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

// Returns the options for a start. `fragment` is the part of the page's address after "#".
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
    // `usual` has the default options for a start. Events: "start" after each start; "change" when the
    // program starts to wait, when it ends, and when another program has changed the store.
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

    // Ends the current run and starts a new run. The promise is fulfilled when the program waits for a key or
    // has ended. Changes are counted from the store `baseline`. `kept` is the store that the user last kept.
    start({ programArguments = this.usual.programArguments, store = this.usual.store,
            faults = this.usual.faults, speed = this.usual.speed, baseline = store, kept = store } = {}) {
        this.baseline = baseline;
        this.kept = kept;
        this.pace?.stop();
        this.pace = new LivePace(this.alarms, validSpeed(speed), () => this.changed());
        const setup = { programArguments, store, faults, factory: this.factory };
        this.run = new ProgramRun(this.engine, this.memory, setup, this.pace);
        this.run.start();
        this.dispatchEvent(new Event("start"));
        this.changed();
        return this.settled();
    }

    // Starts a run with the current store and options, except for the options in `changes`.
    startAgain(changes = {}) {
        const { programArguments, faults } = this.run.setup;
        const store = changes.store ?? this.run.store;
        const baseline = changes.store ?? this.baseline;
        const kept = changes.store ?? this.kept;
        return this.start({ programArguments, faults, speed: this.speed, ...changes, store, baseline, kept });
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

    // Handles the text that the terminal sends for a key or a paste.
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

    // Replaces the store. If `text` is not a valid store, changes nothing and throws an Error with the line
    // and the reason.
    replaceStore(text) {
        this.tools.checkStore(text);
        this.run.replaceStore(text);
        this.changed();
    }

    // Remembers that the user has kept the current store in a file.
    keepStore() {
        this.kept = this.store;
    }

    // Returns the changes to the store since the user last kept or chose a store.
    unkeptChanges() {
        return this.tools.changes(this.kept, this.store);
    }

    get calls() {
        return this.run.calls;
    }

    // Returns the trace lines of a save at this moment, or null if there is nothing to save.
    nextSave() {
        return this.exited === null ? nextSave(this.engine, this.shadowMemory, this.run) : null;
    }

    // Returns the session so far as a transcript. If the program still runs, the transcript ends
    // with the keys that leave the program without saving.
    transcript(shows) {
        const whole = this.exited === null
            ? leftWithoutSaving(this.engine, this.shadowMemory, this.run) : this.run;
        return transcriptOf(whole, this.tools, shows);
    }

    // Returns the readable text of the session in parts {text, typed}.
    readable() {
        return readableParts(this.run);
    }

    // Returns the changes to the store since the first run on this meter started.
    changes() {
        return this.tools.changes(this.baseline, this.store);
    }

    // Returns the changes to the store since this run started.
    changesInSession() {
        return this.tools.changes(this.run.setup.store, this.store);
    }
}
