// The question before a new store replaces a store whose changes exist nowhere else.

import { byId } from "./dom.mjs";
import { counted } from "./meter_words.mjs";

let work = null; // the function to call if the user agrees

export function connectDiscardQuestion() {
    const dialog = byId("discard");
    byId("keep-changes").addEventListener("click", () => dialog.close());
    byId("discard-changes").addEventListener("click", () => {
        dialog.close(); // must come first, because closing moves the focus
        work();
    });
}

// Calls `replaceStore` if the store has no changes to lose, or when the user agrees to discard them.
export function discardChanges(meter, replaceStore) {
    const changes = meter.unkeptChanges();
    if (changes.length === 0) {
        replaceStore();
        return;
    }
    work = replaceStore;
    byId("discard-text").textContent = `The store has changes to ${counted(changes.length, "leaf")} that you ` +
        "have not downloaded. They will be lost. To keep them, go back and download the store.";
    byId("discard").showModal();
}
