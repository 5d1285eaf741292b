// From what a person types in the terminal to what the program reads.

const carriageReturn = 13;
const newline = 10;
const deleteKey = 127;

// What the terminal's driver makes of a byte: Enter's carriage return becomes a newline.
export function driverInput(byte) {
    return byte === carriageReturn ? newline : byte;
}

// The bytes of a text from the terminal. Its Backspace key gives 127; `backspace` is the byte that the
// console is set to send for it.
export function typedBytes(text, backspace) {
    return [...new TextEncoder().encode(text)].map(byte => byte === deleteKey ? backspace : byte);
}
