// The bytes of an element on the left, what they mean on the right; each shows where the other is.
import { el, type Child } from "../dom";
import { badge, documentChoice, elementWords, notThere } from "../parts";
import { countText, counted } from "../numbers";
import { address, indexIn, toBytes, toElement, type Route } from "../route";
import type { Explained, Notes } from "../notes";
import type { DocumentStore, Store } from "../store";
import type { View } from "../view";
import { VirtualList } from "../virtual";
import { cut } from "../visible";

// So many notes are shown at once; more of them are further pages.
const pageOfNotes = 50_000;
const rowHeight = 24;

const digits = Array.from({ length: 256 }, (_, byte) => byte.toString(16).padStart(2, "0"));

class BytesView {
  readonly node: HTMLElement;
  readonly #store: Store;
  readonly #head = el("div", { class: "above" });
  readonly #panes = el("div", { class: "byte-panes" });
  #document: DocumentStore;
  #notes: Notes;
  #bytes: Uint8Array = new Uint8Array(0);
  #element = 0;
  #from = 0;
  #to = 0;
  #explained: Explained | null = null;
  #list: VirtualList | null = null;
  #hex: VirtualList | null = null;
  #current = -1;
  #width = 16;
  #asked = 0;
  #route: Route;

  constructor(store: Store, route: Route, document: DocumentStore, notes: Notes) {
    this.#store = store;
    this.#route = route;
    this.#document = document;
    this.#notes = notes;
    this.node = el("div", { class: "page full" }, el("h1", { tabindex: -1 }, "Bytes"), this.#head, this.#panes);
  }

  placed(): void {
    this.update(this.#route);
  }

  gone(): void {
    ++this.#asked;
    this.#list?.stop();
    this.#hex?.stop();
  }

  update(route: Route): boolean {
    const document = this.#store.documents[indexIn(route.parts[0], this.#store.documents.length)];
    const element = document ? indexIn(route.parts[1], document.count) : -1;
    const notes = document?.notes();
    if (!document || element < 0 || !notes) return false;
    this.#document = document;
    this.#notes = notes;
    this.#element = element;
    const [first, last] = this.#range();
    const page = Math.max(0, indexIn(route.options.get("page") ?? undefined, 1_000_000));
    this.#from = Math.min(first + page * pageOfNotes, Math.max(first, last - 1));
    this.#to = Math.min(last, this.#from + pageOfNotes);
    this.#explained = notes.explain(first, this.#to, element);
    this.#current = -1;
    this.#showHead(first, last, page);
    void this.#show();
    return true;
  }

  // What stands before the first root and behind the last one is shown with them.
  #range(): [number, number] {
    const { roots } = this.#document;
    const first = this.#element === roots[0] ? 0 : this.#notes.begins[this.#element];
    const last = this.#element === roots[roots.length - 1] ? this.#notes.count : this.#notes.endOf(this.#element);
    return [first, last];
  }

  #showHead(first: number, last: number, page: number): void {
    const { offset } = this.#notes;
    const pages = Math.ceil((last - first) / pageOfNotes);
    const link = (to: number, words: string) => (to >= 0 && to < pages ? el("a", { href: toBytes(this.#document.index, this.#element, { page: to || undefined }) }, words) : null);
    const parent = this.#document.parent[this.#element];
    const children = this.#document.children(this.#element).slice(0, 8);
    const parts: Child[] = [
      documentChoice(this.#store, this.#document.index, (index) => toBytes(index, 0)),
      el(
        "p",
        {},
        el("a", { href: toElement(this.#document.index, this.#element), class: "element" }, elementWords(this.#store, this.#document, this.#element)),
        ` \u2013 ${counted(offset[last] - offset[first], "byte")} from ${countText(offset[first])} of ${countText(offset[this.#notes.count])}, `,
        this.#notes.own ? `as they stand in the document (.${this.#notes.format})` : `as kr0 would write them as .${this.#notes.format}`,
      ),
      el("p", { class: "quiet one-line" }, parent >= 0 && ["in ", this.#bytesLink(parent), children.length > 0 && "; "], children.length > 0 && ["with ", children.map((each, i) => [i > 0 && ", ", this.#bytesLink(each)]), this.#document.children(this.#element).length > 8 && ", \u2026"]),
      pages > 1 && el("p", {}, `Page ${countText(page + 1)} of ${countText(pages)} `, link(page - 1, "previous"), " ", link(page + 1, "next")),
    ];
    this.#head.replaceChildren(...parts.filter((each) => each instanceof Node));
  }

  #bytesLink(element: number): HTMLElement {
    return el("a", { href: toBytes(this.#document.index, element), class: "element" }, elementWords(this.#store, this.#document, element));
  }

  async #show(): Promise<void> {
    const asked = ++this.#asked;
    const bytes = await this.#document.bytes();
    if (asked !== this.#asked) return;
    this.#list?.stop();
    this.#hex?.stop();
    if (!bytes) {
      this.#panes.replaceChildren(el("p", {}, "The bytes of this document are not in the page."));
      return;
    }
    this.#bytes = bytes;
    this.#width = this.#panes.clientWidth < 560 ? 8 : 16;
    const start = Math.floor(this.#notes.offset[this.#from] / this.#width);
    const rows = Math.max(0, Math.ceil(this.#notes.offset[this.#to] / this.#width) - start);
    this.#hex = new VirtualList({ role: "listbox", label: "Bytes; left and right arrows move from piece to piece", height: rowHeight, count: () => rows, row: (row) => this.#hexRow(start + row), key: (event) => this.#hexKey(event) });
    this.#hex.element.classList.add("hex");
    this.#hex.element.addEventListener("pointerover", (event) => this.#pointed(event));
    this.#hex.element.addEventListener("click", (event) => this.#pointed(event, true), { capture: true });
    this.#list = new VirtualList({
      role: "listbox",
      label: "What the bytes mean",
      height: rowHeight,
      count: () => this.#to - this.#from,
      row: (row) => this.#noteRow(this.#from + row),
      moved: (row) => this.#select(this.#from + row, "list"),
    });
    this.#list.element.classList.add("notes");
    this.#list.element.addEventListener("pointerover", (event) => {
      const row = (event.target as Element).closest<HTMLElement>(".row");
      if (row) this.#select(this.#from + Number(row.dataset.index), "list");
    });
    this.#panes.replaceChildren(this.#hex.element, this.#list.element);
    this.#hex.refresh();
    this.#list.refresh();
    this.#select(this.#from, "none");
  }

  #pointed(event: Event, scroll = false): void {
    const piece = (event.target as Element).closest<HTMLElement>("[data-note]");
    if (piece) this.#select(Number(piece.dataset.note), scroll ? "hex" : "hover");
  }

  #hexKey(event: KeyboardEvent): boolean {
    const steps: Record<string, number> = { ArrowRight: 1, ArrowLeft: -1, ArrowDown: 1, ArrowUp: -1 };
    if (event.key in steps) this.#select(Math.max(this.#from, Math.min(this.#to - 1, this.#current + steps[event.key])), "keys");
    else if (event.key === "Home") this.#select(this.#from, "keys");
    else if (event.key === "End") this.#select(this.#to - 1, "keys");
    else return false;
    return true;
  }

  // Makes a note the current one on both sides; the side that did not ask scrolls to it.
  #select(note: number, by: "list" | "hex" | "keys" | "hover" | "none"): void {
    if (note === this.#current && by !== "hex" && by !== "keys") return;
    this.#current = note;
    const row = note - this.#from;
    const byteRow = Math.floor(this.#notes.offset[note] / this.#width) - Math.floor(this.#notes.offset[this.#from] / this.#width);
    if (by === "list" || by === "keys") this.#hex!.activate(byteRow);
    if (by !== "list" && this.#list!.active !== row && by !== "none") this.#list!.activate(row);
    this.#repaint();
  }

  #repaint(): void {
    for (const each of this.#panes.querySelectorAll(".current")) this.#paint(each, false);
    for (const each of this.#panes.querySelectorAll(`[data-note="${this.#current}"]`)) this.#paint(each, true);
  }

  #paint(each: Element, current: boolean): void {
    each.classList.toggle("current", current);
    if (each.getAttribute("role") === "option") each.setAttribute("aria-selected", String(current));
  }

  #hexRow(row: number): HTMLElement {
    const { offset } = this.#notes;
    const first = row * this.#width;
    const content: Child[] = [el("span", { class: "offset" }, first.toString(16).padStart(6, "0"))];
    const end = Math.min(first + this.#width, offset[this.#to]);
    let at = Math.max(first, offset[this.#from]);
    if (at > first) content.push(el("span", {}, "   ".repeat(at - first)));
    for (let note = this.#notes.noteAt(at); at < end; ++note) {
      const stop = Math.min(end, offset[note + 1]);
      if (stop > at) {
        const hex: string[] = [];
        for (; at < stop; ++at) hex.push(digits[this.#bytes[at]] ?? "??");
        content.push(el("span", { class: `piece ${this.#notes.kind(note)}${note === this.#current ? " current" : ""}`, "data-note": note }, hex.join(" ")), " ");
      }
    }
    return el("div", { role: "option", "aria-selected": "false" }, content);
  }

  #noteRow(note: number): HTMLElement {
    const explained = this.#explained!;
    const kind = this.#notes.kind(note);
    const place = note - explained.from;
    const row = el(
      "div",
      { role: "option", class: `note ${kind}${note === this.#current ? " current" : ""}`, "data-note": note, "aria-selected": note === this.#current ? "true" : "false" },
      el("span", { class: "offset" }, this.#notes.offset[note].toString(16).padStart(6, "0")),
      el("span", { class: "meaning" }, this.#meaning(note, kind, explained.owner[place], explained.ordinal[place])),
    );
    (row.lastElementChild as HTMLElement).style.paddingInlineStart = `${Math.min(explained.depth[place], 12) * 12}px`;
    return row;
  }

  #meaning(note: number, kind: string, element: number, ordinal: number): Child[] {
    const words = this.#notes.words(note);
    const document = this.#document;
    const propertyIndex = this.#notes.property[note];
    const property = this.#store.schema.properties[propertyIndex];
    const name = property ? el("b", {}, property.name) : "";
    if (kind === "b") return [el("b", {}, this.#step(element)), " begins: ", elementWords(this.#store, document, element), this.#mark(element)];
    if (kind === "e") return ["end of ", this.#store.schema.className(document.class[element])];
    if (words !== undefined) return [cut(words, 300)];
    if (kind === "l") return [name, ": ", this.#itemsWords(element, propertyIndex)];
    if ((kind === "v" || kind === "r") && property && element >= 0) {
      const value = document.valueOf(element, propertyIndex);
      const item = value >= 0 ? document.itemStart[value] + ordinal : -1;
      const position = property.upper === 1 ? "" : `[${ordinal}]`;
      if (item >= 0 && item < document.itemStart[value + 1]) return [name, position, kind === "r" ? " \u2192 " : " = ", this.#item(property.kind === "attribute", document.items[item])];
      return [name, position];
    }
    return [{ h: "head", d: "damaged", u: "not read", B: "begins", E: "ends" }[kind] ?? ""];
  }

  #itemsWords(element: number, property: number): string {
    const value = element >= 0 ? this.#document.valueOf(element, property) : -1;
    return value < 0 ? "how many there are" : counted(this.#document.itemStart[value + 1] - this.#document.itemStart[value], "value");
  }

  #step(element: number): string {
    return this.#document.path(element, 1).split("/").pop() ?? "";
  }

  #mark(element: number): Child {
    const kind = this.#store.marks[this.#document.index].get(element);
    return kind && [" ", badge(kind)];
  }

  #item(isAttribute: boolean, item: number): Child {
    if (isAttribute) return el("bdi", { class: "value" }, cut(this.#document.texts[item] ?? "", 200));
    return item >= 0 ? elementWords(this.#store, this.#document, item) : el("bdi", {}, cut(this.#document.texts[-1 - item] ?? "", 200));
  }
}

function withoutBytes(document: DocumentStore): HTMLElement {
  return el("div", { class: "page" }, el("h1", { tabindex: -1 }, "Bytes"), el("p", {}, "The bytes of ", el("bdi", {}, document.data.name), " are not in this page. ", el("a", { href: address("summary") }, "The summary"), " may say why."));
}

export function bytesView(store: Store, route: Route): View {
  const document = store.documents[indexIn(route.parts[0] ?? "0", store.documents.length)];
  if (!document) return { title: "Bytes", node: notThere("There is no such document.") };
  const notes = document.notes();
  if (!notes || document.count === 0) return { title: "Bytes", node: withoutBytes(document) };
  if (indexIn(route.parts[1] ?? "0", document.count) < 0) return { title: "Bytes", node: notThere("There is no such element.") };
  const view = new BytesView(store, { ...route, parts: [String(document.index), route.parts[1] ?? "0"] }, document, notes);
  return { title: "Bytes", node: view.node, update: (to) => view.update(to), placed: () => view.placed(), gone: () => view.gone() };
}

