// The report in a form that views can ask: columns as typed arrays, derived orders made when they are first needed.
import type { ClassData, DocumentData, EnumerationData, PackageData, PropertyData, ReportData, Differences, EditKind } from "./contract";
import { takeBytes } from "./decode";
import { Notes } from "./notes";

export class Schema {
  readonly classes: ClassData[];
  readonly properties: PropertyData[];
  readonly enumerations: EnumerationData[];
  readonly packages: PackageData[];
  readonly subtypes: number[][];
  #all = new Map<number, number[]>();
  #label = new Map<number, number>();

  constructor(data: ReportData) {
    this.classes = data.classes;
    this.properties = data.properties;
    this.enumerations = data.enumerations;
    this.packages = data.packages;
    this.subtypes = data.classes.map(() => []);
    data.classes.forEach((type, index) => {
      for (const supertype of type.supertypes) this.subtypes[supertype].push(index);
    });
  }

  className(index: number): string {
    return this.classes[index]?.name ?? "?";
  }

  // The class itself and all above it, nearest first.
  withSupertypes(index: number): number[] {
    const found = new Set([index]);
    for (const each of found) for (const supertype of this.classes[each].supertypes) found.add(supertype);
    return [...found];
  }

  // Own and inherited properties, those of the topmost supertypes first.
  allProperties(index: number): number[] {
    let all = this.#all.get(index);
    if (!all) {
      all = this.withSupertypes(index).reverse().flatMap((each) => this.classes[each].properties);
      this.#all.set(index, all);
    }
    return all;
  }

  // The attribute that tells elements of a class apart best; -1 where there is none.
  labelProperty(index: number): number {
    let label = this.#label.get(index);
    if (label === undefined) {
      const single = this.allProperties(index).filter((each) => this.properties[each].kind === "attribute" && this.properties[each].upper === 1);
      const named = (name: RegExp) => single.find((each) => name.test(this.properties[each].name));
      label =
        named(/^(name|title|label)$/i) ??
        single.find((each) => this.properties[each].isId) ??
        named(/name$|title$|label$|^id$|^key$/i) ??
        single.find((each) => /string|text/i.test(this.properties[each].type)) ??
        -1;
      this.#label.set(index, label);
    }
    return label;
  }

  typeText(property: PropertyData): string {
    if (property.target >= 0) return this.className(property.target);
    if (property.enumeration >= 0) return this.enumerations[property.enumeration].name;
    return property.type;
  }
}

// An element, and the property by which it leads to another.
export interface Referrer {
  element: number;
  property: number;
}

export class DocumentStore {
  readonly count: number;
  readonly class: Int32Array;
  readonly parent: Int32Array;
  readonly via: Int32Array;
  readonly at: Int32Array;
  readonly identity: Int32Array;
  readonly texts: string[];
  readonly roots: number[] = [];
  // Behind the last element below each one; elements stand in pre-order.
  readonly end: Int32Array;
  readonly depth: Uint16Array;
  // Values of element i: from valueStart[i] to valueStart[i + 1]; items of value v: from itemStart[v] on.
  readonly valueStart: Int32Array;
  readonly valueProperty: Int32Array;
  readonly itemStart: Int32Array;
  readonly items: Int32Array;
  readonly #schema: Schema;
  #siblings: { position: Int32Array; children: Int32Array } | null = null;
  #referrers: { start: Int32Array; element: Int32Array; property: Int32Array } | null = null;
  #bytes: Promise<Uint8Array | null> | null = null;
  #notes: Notes | null = null;

  constructor(
    readonly index: number,
    readonly data: DocumentData,
    schema: Schema,
  ) {
    this.#schema = schema;
    const { elements, values } = data;
    this.texts = data.texts;
    this.count = elements.class.length;
    this.class = Int32Array.from(elements.class);
    this.parent = Int32Array.from(elements.parent);
    this.via = Int32Array.from(elements.via);
    this.at = Int32Array.from(elements.at);
    this.identity = Int32Array.from(elements.identity);
    this.valueStart = runningSum(elements.values, elements.values.length);
    this.valueProperty = Int32Array.from(values.property);
    this.itemStart = new Int32Array(values.value.length + 1);
    values.value.forEach((value, i) => {
      this.itemStart[i + 1] = this.itemStart[i] + (typeof value === "number" ? 1 : value.length);
    });
    this.items = new Int32Array(this.itemStart[values.value.length]);
    let next = 0;
    for (const value of values.value) {
      if (typeof value === "number") this.items[next++] = value;
      else for (const item of value) this.items[next++] = item;
    }
    this.end = new Int32Array(this.count);
    this.depth = new Uint16Array(this.count);
    this.#nest();
    // The columns live on in typed arrays alone.
    data.elements = { class: [], parent: [], via: [], at: [], values: [], identity: [] };
    data.values = { property: [], value: [] };
  }

  #nest(): void {
    for (let i = this.count - 1; i >= 0; --i) {
      if (this.end[i] < i + 1) this.end[i] = i + 1;
      const parent = this.parent[i];
      if (parent >= 0 && this.end[parent] < this.end[i]) this.end[parent] = this.end[i];
    }
    for (let i = 0; i < this.count; ++i) {
      if (this.parent[i] < 0) this.roots.push(i);
      else this.depth[i] = Math.min(this.depth[this.parent[i]] + 1, 65535);
    }
  }

  children(element: number): number[] {
    const found: number[] = [];
    for (let i = element + 1; i < this.end[element]; i = this.end[i]) found.push(i);
    return found;
  }

  hasChildren(element: number): boolean {
    return this.end[element] > element + 1;
  }

  // Where an element stands among those around it, and how many there are, both for readers of the screen.
  siblings(element: number): { position: number; count: number } {
    if (!this.#siblings) {
      const position = new Int32Array(this.count);
      const children = new Int32Array(this.count);
      let roots = 0;
      for (let i = 0; i < this.count; ++i) position[i] = this.parent[i] < 0 ? roots++ : children[this.parent[i]]++;
      this.#siblings = { position, children };
    }
    const parent = this.parent[element];
    return { position: this.#siblings.position[element], count: parent < 0 ? this.roots.length : this.#siblings.children[parent] };
  }

  // All places from which a reference leads to the element.
  referrers(element: number): Referrer[] {
    const { start, element: from, property } = (this.#referrers ??= this.#findReferrers());
    const found: Referrer[] = [];
    for (let i = start[element]; i < start[element + 1]; ++i) found.push({ element: from[i], property: property[i] });
    return found;
  }

  #findReferrers() {
    const counts = new Int32Array(this.count);
    this.#eachReference((target) => ++counts[target]);
    const start = runningSum(counts, this.count);
    const next = start.slice();
    const element = new Int32Array(start[this.count]);
    const property = new Int32Array(start[this.count]);
    this.#eachReference((target, from, by) => {
      const place = next[target]++;
      element[place] = from;
      property[place] = by;
    });
    return { start, element, property };
  }

  #eachReference(visit: (target: number, from: number, property: number) => void): void {
    for (let i = 0; i < this.count; ++i) {
      for (let v = this.valueStart[i]; v < this.valueStart[i + 1]; ++v) {
        const property = this.valueProperty[v];
        if (this.#schema.properties[property].kind === "attribute") continue;
        for (let k = this.itemStart[v]; k < this.itemStart[v + 1]; ++k) {
          const target = this.items[k];
          if (target >= 0 && target < this.count) visit(target, i, property);
        }
      }
    }
  }

  // The value of a property of an element, as its place in the columns; -1 where it is not set.
  valueOf(element: number, property: number): number {
    for (let v = this.valueStart[element]; v < this.valueStart[element + 1]; ++v) if (this.valueProperty[v] === property) return v;
    return -1;
  }

  // A few words of its own by which an element is known; empty where it has none.
  label(element: number): string {
    const property = this.#schema.labelProperty(this.class[element]);
    if (property >= 0) {
      const value = this.valueOf(element, property);
      if (value >= 0 && this.itemStart[value + 1] > this.itemStart[value]) return this.texts[this.items[this.itemStart[value]]] ?? "";
    }
    return this.identity[element] >= 0 ? this.texts[this.identity[element]] : "";
  }

  // How the tool names the element on the command line; with a limit, the last steps of that.
  path(element: number, limit = Infinity): string {
    const steps: string[] = [];
    let each = element;
    for (; this.parent[each] >= 0; each = this.parent[each]) {
      if (steps.length === limit) return "\u2026/" + steps.reverse().join("/");
      const name = this.#schema.properties[this.via[each]]?.name ?? "?";
      steps.push(this.at[each] >= 0 ? `${name}[${this.at[each]}]` : name);
    }
    const type = this.#schema.className(this.class[each]).split(".").pop()!;
    const root = type.charAt(0).toLowerCase() + type.slice(1);
    steps.push(this.roots.length > 1 ? `${root}[${this.at[each]}]` : root);
    return "/" + steps.reverse().join("/");
  }

  // Elements of a class in the order of the document; also those of its subtypes where asked for.
  instances(type: number, withSubtypes: boolean): Int32Array {
    const wanted = new Uint8Array(this.#schema.classes.length);
    const types = new Set([type]);
    if (withSubtypes) for (const each of types) for (const below of this.#schema.subtypes[each]) types.add(below);
    for (const each of types) wanted[each] = 1;
    return Int32Array.from(indices(this.count, (i) => wanted[this.class[i]] === 1));
  }

  // Elements with a text, an identity or a class in which the words are found, whatever their case.
  search(words: string): Int32Array {
    const wanted = words.toLowerCase();
    if (wanted === "") return new Int32Array(0);
    const hit = Uint8Array.from(this.texts, (text) => (text.toLowerCase().includes(wanted) ? 1 : 0));
    const types = Uint8Array.from(this.#schema.classes, (type) => (type.name.toLowerCase().includes(wanted) ? 1 : 0));
    const isAttribute = Uint8Array.from(this.#schema.properties, (property) => (property.kind === "attribute" ? 1 : 0));
    return Int32Array.from(indices(this.count, (i) => types[this.class[i]] === 1 || (this.identity[i] >= 0 && hit[this.identity[i]] === 1) || this.#holds(i, hit, isAttribute)));
  }

  #holds(element: number, hit: Uint8Array, isAttribute: Uint8Array): boolean {
    for (let v = this.valueStart[element]; v < this.valueStart[element + 1]; ++v) {
      const attribute = isAttribute[this.valueProperty[v]] === 1;
      for (let k = this.itemStart[v]; k < this.itemStart[v + 1]; ++k) {
        const item = this.items[k];
        if (attribute ? hit[item] === 1 : item < 0 && hit[-1 - item] === 1) return true;
      }
    }
    return false;
  }

  bytes(): Promise<Uint8Array | null> {
    return (this.#bytes ??= takeBytes(`kr0-bytes-${this.index}`));
  }

  notes(): Notes | null {
    if (!this.#notes && this.data.shown) this.#notes = new Notes(this.data.shown);
    return this.#notes;
  }
}

function runningSum(counts: ArrayLike<number>, length: number): Int32Array {
  const sums = new Int32Array(length + 1);
  for (let i = 0; i < length; ++i) sums[i + 1] = sums[i] + counts[i];
  return sums;
}

function* indices(count: number, wanted: (i: number) => boolean): Iterable<number> {
  for (let i = 0; i < count; ++i) if (wanted(i)) yield i;
}

export class Store {
  readonly schema: Schema;
  readonly documents: DocumentStore[];
  readonly differences: Differences | null;
  readonly producer: string;
  // What happened to elements of either document, by their index.
  readonly marks: Map<number, EditKind>[] = [new Map(), new Map()];

  constructor(data: ReportData) {
    this.producer = data.producer;
    this.schema = new Schema(data);
    this.documents = data.documents.map((each, index) => new DocumentStore(index, each, this.schema));
    this.differences = data.differences;
    for (const edit of data.differences?.edits ?? []) {
      if (edit.before >= 0) this.#mark(0, edit.before, edit.kind);
      if (edit.after >= 0) this.#mark(1, edit.after, edit.kind);
    }
  }

  // Of several edits of an element the first is shown, but what moved says more than what changed.
  #mark(document: number, element: number, kind: EditKind): void {
    const known = this.marks[document].get(element);
    if (known === undefined || known === "changed") this.marks[document].set(element, kind);
  }
}
