// Waits in scaled time, which passes `speed` times as fast as real time.

// The timers run in a worker, because browsers delay the timers of a hidden tab.
export class Alarms {
    constructor() {
        this.callbacks = new Map();
        this.lastId = 0;
        this.worker = new Worker(URL.createObjectURL(new Blob([`(${workerBody})()`],
            { type: "text/javascript" })));
        this.worker.onmessage = ({ data: id }) => this.ring(id);
    }

    // Returns the number of the timer, for `cancel`.
    set(milliseconds, callback) {
        const id = ++this.lastId;
        this.callbacks.set(id, callback);
        this.worker.postMessage({ id, milliseconds });
        return id;
    }

    cancel(id) {
        if (this.callbacks.delete(id))
            this.worker.postMessage({ id });
    }

    ring(id) {
        const callback = this.callbacks.get(id);
        this.callbacks.delete(id);
        callback?.();
    }
}

function workerBody() {
    const timers = new Map();
    self.onmessage = ({ data: { id, milliseconds } }) => {
        clearTimeout(timers.get(id));
        timers.delete(id);
        if (milliseconds !== undefined)
            timers.set(id, setTimeout(() => {
                timers.delete(id);
                self.postMessage(id);
            }, milliseconds));
    };
}

export class ScaledWait {
    // Calls `onEnd` after `milliseconds` of scaled time, never earlier.
    constructor(alarms, milliseconds, speed, onEnd) {
        this.alarms = alarms;
        this.onEnd = onEnd;
        this.speed = speed;
        this.rest = milliseconds; // the scaled time that remained at the moment `since`
        this.since = performance.now();
        this.arm();
    }

    // Returns the remaining milliseconds of scaled time.
    get left() {
        return Math.max(this.rest - (performance.now() - this.since) * this.speed, 0);
    }

    arm() {
        this.alarm = this.alarms.set(Math.ceil(this.left / this.speed), () => {
            if (this.left > 0)
                this.arm();
            else
                this.onEnd();
        });
    }

    // Continues the wait at the new speed.
    setSpeed(speed) {
        this.rest = this.left;
        this.since = performance.now();
        this.speed = speed;
        this.alarms.cancel(this.alarm);
        this.arm();
    }

    cancel() {
        this.alarms.cancel(this.alarm);
    }
}
