// Converts the text that a person types in the terminal to the bytes that the program reads.

const carriageReturn = 13;
const newline = 10;
const deleteKey = 127;

// Converts a byte as a terminal driver does: Enter's carriage return becomes a newline.
export function driverInput(byte) {
    return byte === carriageReturn ? newline : byte;
}

// Returns the bytes of a text from the terminal. The terminal sends 127 for the Backspace key. `backspace`,
// the byte that the user has chosen for this key, replaces 127.
export function typedBytes(text, backspace) {
    return [...new TextEncoder().encode(text)].map(byte => byte === deleteKey ? backspace : byte);
}
