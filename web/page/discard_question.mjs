// Asks the user before a new store replaces changes that the user has not kept.

import { byId } from "./dom.mjs";
import { counted } from "./meter_words.mjs";

let work = null; // the function to call if the user discards the changes

export function connectDiscardQuestion() {
    const dialog = byId("discard");
    byId("keep-changes").addEventListener("click", () => dialog.close());
    byId("discard-changes").addEventListener("click", () => {
        dialog.close(); // before `work`, because closing the dialog moves the focus
        work();
    });
}

// Calls `replaceStore` immediately if no changes would be lost, otherwise when the user discards them.
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
