// The same session again, without its waits, on a run of its own: to find out what the program would
// do next without doing it.

import { leaveProgram, ProgramRun } from "./program_run.mjs";
import { driverInput } from "./keyboard.mjs";

class ReplayPace {
    // `decide(run)` gives the inputs that follow the last one, or null to leave the program.
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

    // The next input that ends a wait.
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

// Plays `inputs` on a meter as `setup` has it, then what `decide` gives. Returns the run.
export function replay(engine, memory, setup, inputs, decide) {
    const run = new ProgramRun(engine, memory, setup, new ReplayPace(inputs, decide));
    run.start();
    return run;
}

export function keysOf(text) {
    return [...text].map(character => ({ kind: "key", typed: character.charCodeAt(0) }));
}
