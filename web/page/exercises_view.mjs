// The exercises of docs/exercises. An exercise starts on its own meter. It is solved when the leaves have
// exactly the expected changes.

import { discardChanges } from "./discard_question.mjs";
import { announce, byId, element, soon } from "./dom.mjs";

function paragraphs(text) {
    return text.trim().split(/\n\s*\n/).map(part => element("p", {}, part.replace(/\s+/g, " ")));
}

export class ExercisesView {
    // `exercises` is a list of {name, title, task, hint, arguments, store, expected}.
    constructor(meter, exercises, terminal) {
        this.meter = meter;
        this.exercises = exercises;
        this.terminal = terminal;
        this.current = null; // {exercise} while the user works on an exercise
        this.solved = new Set();
        this.list = byId("exercise-list");
        meter.addEventListener("change", soon(() => this.check()));
        this.draw();
    }

    draw() {
        this.list.replaceChildren(...this.exercises.map(exercise => this.item(exercise)));
    }

    item(exercise) {
        const isCurrent = this.current?.exercise === exercise;
        const item = element("li", { class: isCurrent ? "current" : "", "data-exercise": exercise.name },
            element("h3", {}, exercise.title, this.solved.has(exercise) ? element("span", { class: "solved" }, " Solved") : ""));
        if (isCurrent) {
            item.append(...paragraphs(exercise.task),
                element("details", {}, element("summary", {}, "Hint"), ...paragraphs(exercise.hint)),
                element("p", { class: "verdict" }, this.verdict()));
        }
        item.append(element("button", { type: "button", onclick: () => this.ask(exercise) },
            isCurrent ? "Begin again" : "Begin"));
        return item;
    }

    // Begins the exercise. Asks first if changes would be lost, unless the current exercise is solved.
    ask(exercise) {
        if (this.current !== null && this.differences().length === 0)
            this.begin(exercise);
        else
            discardChanges(this.meter, () => this.begin(exercise));
    }

    begin(exercise) {
        this.meter.start({
            programArguments: exercise.arguments, store: exercise.store, faults: "", speed: this.meter.speed,
        });
        this.current = { exercise };
        this.draw();
        announce(`Exercise: ${exercise.title}. ${exercise.task}`);
        this.terminal.focus();
    }

    check() {
        if (this.current === null)
            return;
        if (this.meter.baseline !== this.current.exercise.store) {
            this.current = null; // choosing another meter ends the exercise
            this.draw();
            return;
        }
        const verdict = this.list.querySelector(".verdict");
        const text = this.verdict();
        if (verdict && verdict.textContent !== text)
            this.showVerdict(text);
    }

    showVerdict(text) {
        const { exercise } = this.current;
        if (this.differences().length === 0 && !this.solved.has(exercise)) {
            this.solved.add(exercise);
            announce(`Solved: ${exercise.title}.`);
        }
        this.draw();
    }

    // Returns the expected changes that are missing, and the changes that are not expected.
    differences() {
        const { exercise } = this.current;
        const made = this.meter.tools.diff(exercise.store, this.meter.store);
        const lacking = exercise.expected.filter(line => !made.includes(line)).map(line => ({ line, lacking: true }));
        const beyond = made.filter(line => !exercise.expected.includes(line)).map(line => ({ line, lacking: false }));
        return [...lacking, ...beyond];
    }

    verdict() {
        const { exercise } = this.current;
        const differences = this.differences();
        if (differences.length === 0)
            return "Solved. The meter is as the task asks.";
        const beyond = differences.filter(difference => !difference.lacking);
        const done = exercise.expected.length - (differences.length - beyond.length);
        const wrong = beyond.map(({ line }) => line.split(": ")[0]);
        return `Not solved yet: ${done} of ${exercise.expected.length} leaves are as they should be.` +
            (wrong.length > 0 ? ` These have another value than the task asks for: ${wrong.join(", ")}.` : "");
    }
}
