// What the bytes of a document mean, a note for each piece of them.
import type { ShownBytes } from "./contract";

export class Notes {
  readonly count: number;
  readonly format: string;
  readonly own: boolean;
  readonly property: Int32Array;
  readonly offset: Float64Array; // one more than there are notes: the last is the length of all
  readonly begins: Int32Array; // the note with which each element begins
  readonly #kinds: string;
  readonly #texts: Record<string, string>;

  constructor(shown: ShownBytes) {
    this.#kinds = shown.kinds;
    this.#texts = shown.texts;
    this.count = shown.kinds.length;
    this.format = shown.format;
    this.own = shown.own;
    this.property = Int32Array.from(shown.property);
    this.offset = new Float64Array(this.count + 1);
    const begins: number[] = [];
    for (let i = 0; i < this.count; ++i) {
      this.offset[i + 1] = this.offset[i] + shown.bytes[i];
      if (shown.kinds[i] === "b") begins.push(i);
    }
    this.begins = Int32Array.from(begins);
    shown.bytes = [];
    shown.property = [];
  }

  kind(note: number): string {
    return this.#kinds[note];
  }

  words(note: number): string | undefined {
    return this.#texts[note];
  }

  // The note behind the last one of an element with all that is in it.
  endOf(element: number): number {
    let depth = 0;
    for (let i = this.begins[element]; i < this.count; ++i) {
      const kind = this.#kinds[i];
      if (kind === "b") ++depth;
      else if (kind === "e" && --depth === 0) return i + 1;
    }
    return this.count;
  }

  // The note that has the byte at an offset.
  noteAt(offset: number): number {
    let low = 0;
    let high = this.count - 1;
    while (low < high) {
      const middle = (low + high + 1) >> 1;
      if (this.offset[middle] <= offset) low = middle;
      else high = middle - 1;
    }
    return low;
  }

  // The notes from `from` to `to`, each with the element that it is of, how deep that is, and which of the notes of its
  // kind and property it is there. `element` is the one that begins first.
  explain(from: number, to: number, element: number): Explained {
    const owner = new Int32Array(to - from);
    const ordinal = new Int32Array(to - from);
    const depth = new Uint16Array(to - from);
    const open: { element: number; seen: Map<string, number> }[] = [];
    let next = element;
    for (let i = from; i < to; ++i) {
      const kind = this.#kinds[i];
      if (kind === "b") open.push({ element: next++, seen: new Map() });
      const inner = open[open.length - 1];
      owner[i - from] = inner ? inner.element : -1;
      depth[i - from] = Math.max(0, open.length - (kind === "b" || kind === "e" ? 1 : 0));
      if (inner && (kind === "v" || kind === "r")) {
        const key = kind + this.property[i];
        const seen = inner.seen.get(key) ?? 0;
        ordinal[i - from] = seen;
        inner.seen.set(key, seen + 1);
      }
      if (kind === "e") open.pop();
    }
    return { from, owner, ordinal, depth };
  }
}

export interface Explained {
  from: number;
  owner: Int32Array;
  ordinal: Int32Array;
  depth: Uint16Array;
}
