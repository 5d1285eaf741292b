// Repeats a session in a separate run without waiting, to predict the next calls of the program.

import { leaveProgram, ProgramRun } from "./program_run.mjs";
import { driverInput } from "./keyboard.mjs";

class ReplayPace {
    // After the last of `inputs`, `decide(run)` returns further inputs, or null to end the program.
    constructor(inputs, decide) {
        this.inputs = [...inputs];
        this.decide = decide;
        this.key = null;
    }

    waitForKey(run, milliseconds, wake) {
        const input = this.next(run);
        if (input.kind === "key")
            this.key = input.typed;
        else
            run.note(input);
        wake(input.kind === "key" ? 1 : 0);
    }

    // Returns the next key or time-out. Applies the store changes that precede it.
    next(run) {
        for (;;) {
            if (this.inputs.length === 0)
                this.inputs = this.decide(run) ?? this.leave();
            const input = this.inputs.shift();
            if (input?.kind === "store")
                run.replaceStore(input.text);
            else if (input)
                return input;
        }
    }

    leave() {
        throw leaveProgram;
    }

    readKey(run) {
        run.note({ kind: "key", typed: this.key });
        return driverInput(this.key);
    }

    pause(run, milliseconds, wake) {
        wake();
    }

    timeLeft() {
        return 0;
    }
}

// Plays `inputs` on the meter of `setup`, then the inputs from `decide`. Returns the run.
export function replay(engine, memory, setup, inputs, decide) {
    const run = new ProgramRun(engine, memory, setup, new ReplayPace(inputs, decide));
    run.start();
    return run;
}

export function keysOf(text) {
    return [...text].map(character => ({ kind: "key", typed: character.charCodeAt(0) }));
}
