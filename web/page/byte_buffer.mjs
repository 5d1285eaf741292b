// A buffer to which bytes are added one at a time.
export class ByteBuffer {
    constructor() {
        this.bytes = new Uint8Array(4096);
        this.length = 0;
    }

    add(byte) {
        if (this.length === this.bytes.length) {
            const larger = new Uint8Array(2 * this.length);
            larger.set(this.bytes);
            this.bytes = larger;
        }
        this.bytes[this.length++] = byte;
    }

    // Returns a copy of the bytes from `begin` up to, but not including, `end`.
    from(begin = 0, end = this.length) {
        return this.bytes.slice(begin, Math.min(end, this.length));
    }

    text(begin = 0) {
        return byteText(this.from(begin));
    }
}

// Returns a text with one character per byte.
export function byteText(bytes) {
    let text = "";
    for (let begin = 0; begin < bytes.length; begin += 4096)
        text += String.fromCharCode(...bytes.subarray(begin, begin + 4096));
    return text;
}
