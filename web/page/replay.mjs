// Plays the session again in a separate run without waits, to find out what the program would do next.

import { leaveProgram, ProgramRun } from "./program_run.mjs";
import { driverInput } from "./keyboard.mjs";

class ReplayPace {
    // `decide(run)` returns the inputs after the last one, or null to leave the program.
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

    // Returns the next input that ends a wait.
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
