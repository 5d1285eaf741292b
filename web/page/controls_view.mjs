// The controls for the program, the store and the faults, and the line with the state of the program.

import { discardChanges } from "./discard_question.mjs";
import { announce, byId, element, saveFile } from "./dom.mjs";
import { preparedFaults } from "./meter_words.mjs";

const withMenu = "-m";

function report(error) {
    byId("problem").textContent = error.message;
}

// Runs `work` and returns true. If `work` throws an error, shows the error on the page and returns false.
function attempt(work) {
    byId("problem").textContent = "";
    try {
        work();
        return true;
    } catch (error) {
        report(error);
        return false;
    }
}

export class ControlsView {
    constructor(meter, terminal) {
        this.meter = meter;
        this.terminal = terminal;
        this.connectStarts();
        this.connectStore();
        this.connectFaults();
        byId("backspace").addEventListener("change", event => {
            meter.backspace = Number(event.target.value);
        });
        byId("speed").addEventListener("change", event => {
            meter.speed = event.target.value;
        });
        meter.addEventListener("start", () => this.showSetup());
        meter.addEventListener("change", () => this.showState());
        setInterval(() => this.showState(), 1000);
    }

    begin(changes) {
        this.meter.startAgain(changes);
        this.terminal.focus();
    }

    connectStarts() {
        const meters = { "factory-meter": this.meter.factory, "empty-meter": "" };
        for (const [id, store] of Object.entries(meters)) {
            byId(id).addEventListener("click", () =>
                discardChanges(this.meter, () => this.begin({ store })));
        }
        byId("start-again").addEventListener("click", () => this.begin({}));
        byId("with-menu").addEventListener("change", event => {
            this.meter.startAgain({ programArguments: event.target.checked ? [withMenu] : [] });
        });
    }

    connectStore() {
        byId("download-store").addEventListener("click", () => {
            saveFile("store.toml", "application/toml", this.meter.store);
            this.meter.keepStore();
        });
        byId("upload-store").addEventListener("click", () => byId("store-file").click());
        byId("store-file").addEventListener("change", event => this.upload(event.target));
    }

    async upload(input) {
        const [file] = input.files;
        if (file === undefined)
            return;
        const text = await file.text();
        input.value = ""; // so that the user can choose the same file again
        if (attempt(() => this.meter.tools.checkStore(text)))
            discardChanges(this.meter, () => this.replaceStore(file.name, text));
    }

    replaceStore(name, text) {
        this.meter.replaceStore(text);
        this.meter.keepStore();
        announce(`The meter has the leaves of ${name} now. The next screen shows them.`);
    }

    connectFaults() {
        const choice = byId("fault-choice");
        const text = byId("fault-text");
        choice.append(...preparedFaults.map(({ name }, i) => element("option", { value: i }, name)));
        choice.addEventListener("change", () => {
            text.value = preparedFaults[choice.value].toml;
        });
        byId("apply-faults").addEventListener("click", () => {
            byId("fault-problem").textContent = "";
            try {
                this.meter.tools.checkFaults(text.value);
            } catch (error) {
                byId("fault-problem").textContent = error.message;
                return;
            }
            this.begin({ faults: text.value });
        });
    }

    showSetup() {
        const { programArguments, faults } = this.meter.run.setup;
        byId("with-menu").checked = programArguments.length === 1 && programArguments[0] === withMenu;
        byId("fault-text").value = faults;
        const prepared = preparedFaults.findIndex(({ toml }) => toml === faults);
        byId("fault-choice").value = prepared;
        byId("faults-on").hidden = faults === "";
        this.showSpeed();
    }

    // Selects the current speed in the list. Adds the speed if the list lacks it.
    showSpeed() {
        const select = byId("speed");
        const { speed } = this.meter;
        if (![...select.options].some(option => Number(option.value) === speed))
            select.append(element("option", { value: speed }, `${speed} times`));
        select.value = speed;
    }

    showState() {
        const { exited, pace } = this.meter;
        const left = pace.idleLeft;
        let text = "The program is pausing.";
        if (exited !== null)
            text = `The program has ended with status ${exited}. Press Enter to start it again.`;
        else if (left !== null)
            text = `Type an answer and press Enter. The program gives up in ${Math.ceil(left / 1000 / pace.speed)} s.`;
        if (byId("state").textContent !== text)
            byId("state").textContent = text;
    }
}
