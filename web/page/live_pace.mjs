// The pace of an interactive run. A typed key or the clock ends a wait.

import { ScaledWait } from "./clock.mjs";
import { driverInput } from "./keyboard.mjs";

export class LivePace {
    // Calls `onChange` each time the program has continued and then waits, pauses or ends.
    constructor(alarms, speed, onChange) {
        this.alarms = alarms;
        this.speed = speed;
        this.onChange = onChange;
        this.keys = [];
        this.wait = null; // the current wait or pause: {run, clock, wake, forKey}
        this.millisecondsLeft = 0;
    }

    waitForKey(run, milliseconds, wake) {
        this.millisecondsLeft = milliseconds;
        if (this.keys.length > 0) {
            wake(1);
            return;
        }
        this.begin(run, milliseconds, wake, () => {
            run.note({ kind: "wait", seconds: Math.floor(milliseconds / 1000) });
            this.finish(0);
        });
        this.wait.forKey = true;
    }

    pause(run, milliseconds, wake) {
        this.begin(run, milliseconds, wake, () => this.finish());
    }

    begin(run, milliseconds, wake, onEnd) {
        const clock = new ScaledWait(this.alarms, milliseconds, this.speed, onEnd);
        this.wait = { run, clock, wake, forKey: false };
    }

    finish(result) {
        const { run, clock, wake } = this.wait;
        this.millisecondsLeft = clock.left;
        clock.cancel();
        this.wait = null;
        run.resume(() => wake(result));
        this.onChange();
    }

    // Handles typed bytes. Returns true if the program waited for a key and has continued.
    type(bytes) {
        this.keys.push(...bytes);
        if (!this.waitsForKey)
            return false;
        this.finish(1);
        return true;
    }

    readKey(run) {
        const typed = this.keys.shift();
        run.note({ kind: "key", typed });
        return driverInput(typed);
    }

    timeLeft() {
        return this.millisecondsLeft;
    }

    get waitsForKey() {
        return this.wait !== null && this.wait.forKey;
    }

    // Returns the remaining milliseconds of the wait for a key, in scaled time, or null if there is no wait.
    get idleLeft() {
        return this.waitsForKey ? this.wait.clock.left : null;
    }

    setSpeed(speed) {
        this.speed = speed;
        this.wait?.clock.setSpeed(speed);
    }

    // Cancels the current wait. The program then never continues.
    stop() {
        this.wait?.clock.cancel();
        this.wait = null;
    }
}
