// Elements: the tree, or a list of those that were found, beside what the document says about the chosen one.
import { el, type Child } from "../dom";
import { elementDetails, nothingChosen } from "../element";
import { badge, classLink, documentChoice, documentIndex, elementWords } from "../parts";
import { counted } from "../numbers";
import { address, indexIn, toElement, type Route } from "../route";
import type { DocumentStore, Store } from "../store";
import type { View } from "../view";
import { VirtualList } from "../virtual";
import { cut, visible } from "../visible";

const rowHeight = 26;

// What the left side shows: all as a tree, or the elements of a search or class as a list.
interface Listing {
  document: number;
  search: string | null;
  class: number;
}

export interface Wanted extends Listing {
  element: number;
}

export function wantedOf(store: Store, route: Route): Wanted {
  const { options } = route;
  const inElement = route.view === "element";
  const document = inElement ? Math.max(0, indexIn(route.parts[0], store.documents.length)) : documentIndex(store, options);
  return {
    document,
    search: route.view === "search" ? (route.parts[0] ?? "") : options.get("search"),
    class: indexIn(options.get("class") ?? undefined, store.schema.classes.length),
    element: inElement ? indexIn(route.parts[1], store.documents[document].count) : -1,
  };
}

// Which elements of the tree can be seen, as closed ones hide what is in them.
class OpenElements {
  readonly #document: DocumentStore;
  readonly #open: Uint8Array;
  rows = new Int32Array(0);

  constructor(document: DocumentStore) {
    this.#document = document;
    this.#open = new Uint8Array(document.count);
    if (document.roots.length <= 20) for (const root of document.roots) this.#open[root] = 1;
    this.#collect();
  }

  isOpen(element: number): boolean {
    return this.#open[element] === 1;
  }

  set(element: number, open: boolean): void {
    this.#open[element] = open ? 1 : 0;
    this.#collect();
  }

  reveal(element: number): void {
    let changed = false;
    for (let each = this.#document.parent[element]; each >= 0; each = this.#document.parent[each]) {
      changed ||= this.#open[each] === 0;
      this.#open[each] = 1;
    }
    if (changed) this.#collect();
  }

  rowOf(element: number): number {
    return rowOf(this.rows, element);
  }

  #collect(): void {
    const { count, end } = this.#document;
    const rows = new Int32Array(count);
    let length = 0;
    for (let i = 0; i < count; i = this.#open[i] === 1 ? i + 1 : end[i]) rows[length++] = i;
    this.rows = rows.slice(0, length);
  }
}

function rowOf(rows: Int32Array, element: number): number {
  let low = 0;
  let high = rows.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (rows[middle] < element) low = middle + 1;
    else high = middle;
  }
  return rows[low] === element ? low : -1;
}

class ElementsView {
  readonly node: HTMLElement;
  readonly #store: Store;
  readonly #left = el("div", { class: "left" });
  readonly #right = el("div", { class: "right" });
  readonly #trees = new Map<number, OpenElements>();
  #listing: Listing | null = null;
  #list: VirtualList | null = null;
  #rows: () => Int32Array = () => new Int32Array(0);
  #element = -1;
  #route: Route;

  constructor(store: Store, route: Route) {
    this.#store = store;
    this.#route = route;
    this.node = el("div", { class: "page full" }, el("h1", { tabindex: -1 }, "Elements"), el("div", { class: "panes" }, this.#left, this.#right));
  }

  placed(): void {
    this.update(this.#route);
  }

  gone(): void {
    this.#list?.stop();
  }

  update(route: Route): boolean {
    const wanted = wantedOf(this.#store, route);
    const known = this.#listing;
    if (!known || !this.#list || known.document !== wanted.document || known.search !== wanted.search || known.class !== wanted.class) this.#fill(wanted);
    this.#choose(wanted, route);
    return true;
  }

  #document(): DocumentStore {
    return this.#store.documents[this.#listing!.document];
  }

  #fill(wanted: Listing): void {
    this.#list?.stop();
    this.#listing = { document: wanted.document, search: wanted.search, class: wanted.class };
    const head: Child[] = [documentChoice(this.#store, wanted.document, (index) => this.#otherDocument(index, wanted))];
    this.#list = wanted.search !== null || wanted.class >= 0 ? this.#makeList(wanted, head) : this.#makeTree(head);
    this.#left.replaceChildren(el("div", { class: "above" }, head), this.#list.element);
    this.#list.refresh();
  }

  #otherDocument(index: number, { search, class: type }: Listing): string {
    const document = index || undefined;
    if (search !== null) return address("search", [search], { document });
    return address("tree", [], { document, class: type >= 0 ? type : undefined });
  }

  #tree(): OpenElements {
    const { document } = this.#listing!;
    let tree = this.#trees.get(document);
    if (!tree) this.#trees.set(document, (tree = new OpenElements(this.#store.documents[document])));
    return tree;
  }

  #makeTree(head: Child[]): VirtualList {
    const document = this.#document();
    const tree = this.#tree();
    this.#rows = () => tree.rows;
    if (document.count === 0) head.push(el("p", { class: "quiet" }, "The document holds no elements."));
    return new VirtualList({
      role: "tree",
      label: `Elements of ${visible(document.data.name)}`,
      height: rowHeight,
      count: () => tree.rows.length,
      row: (row) => this.#treeRow(document, tree, tree.rows[row]),
      choose: (row) => this.#go(tree.rows[row]),
      key: (event, row) => this.#treeKey(event, row),
    });
  }

  #treeRow(document: DocumentStore, tree: OpenElements, element: number): HTMLElement {
    const { position, count } = document.siblings(element);
    const nested = document.hasChildren(element);
    const open = tree.isOpen(element);
    const twisty = el("span", { class: "twisty", "aria-hidden": "true" }, nested ? (open ? "\u25be" : "\u25b8") : "");
    if (nested) {
      twisty.addEventListener("click", (event) => {
        event.preventDefault();
        event.stopPropagation();
        tree.set(element, !open);
        this.#list!.refresh();
      });
    }
    const row = el(
      "a",
      {
        role: "treeitem",
        tabindex: -1,
        href: toElement(document.index, element),
        "aria-level": document.depth[element] + 1,
        "aria-setsize": count,
        "aria-posinset": position + 1,
        "aria-selected": element === this.#element ? "true" : "false",
        "aria-expanded": nested ? String(open) : undefined,
      },
      twisty,
      this.#mark(document, element),
      document.via[element] >= 0 && el("span", { class: "via" }, this.#step(document, element)),
      elementWords(this.#store, document, element),
    );
    row.style.paddingInlineStart = `${Math.min(document.depth[element], 24) * 14 + 4}px`;
    return row;
  }

  #mark(document: DocumentStore, element: number): Child {
    const kind = this.#store.marks[document.index].get(element);
    return kind && [badge(kind), " "];
  }

  #step(document: DocumentStore, element: number): Child {
    const name = this.#store.schema.properties[document.via[element]]?.name ?? "?";
    return [document.at[element] >= 0 ? `${name}[${document.at[element]}]` : name, " "];
  }

  #treeKey(event: KeyboardEvent, row: number): boolean {
    const tree = this.#tree();
    const document = this.#document();
    const element = tree.rows[row];
    if (element === undefined) return false;
    const nested = document.hasChildren(element);
    if (event.key === "ArrowRight") {
      if (nested && tree.isOpen(element)) this.#list!.activate(row + 1);
      else if (nested) this.#toggle(element, true);
    } else if (event.key === "ArrowLeft") {
      if (nested && tree.isOpen(element)) this.#toggle(element, false);
      else if (document.parent[element] >= 0) this.#list!.activate(tree.rowOf(document.parent[element]));
    } else if (event.key.length === 1 && event.key !== " ") {
      this.#typed(event.key.toLowerCase(), row);
    } else {
      return false;
    }
    return true;
  }

  #toggle(element: number, open: boolean): void {
    this.#tree().set(element, open);
    this.#list!.refresh();
  }

  // A letter leads to the next element that is known by words that begin with it.
  #typed(letter: string, row: number): void {
    const rows = this.#rows();
    const document = this.#document();
    const begins = (element: number) => (document.label(element) || this.#store.schema.className(document.class[element])).toLowerCase().startsWith(letter);
    for (let step = 1; step <= rows.length; ++step) {
      const next = (row + step) % rows.length;
      if (begins(rows[next])) return this.#list!.activate(next);
    }
  }

  #makeList(wanted: Listing, head: Child[]): VirtualList {
    const document = this.#document();
    const found = wanted.search !== null ? document.search(wanted.search) : document.instances(wanted.class, true);
    this.#rows = () => found;
    const what: Child[] = wanted.search !== null ? [" with ", el("q", {}, cut(wanted.search, 60))] : [" of ", classLink(this.#store, wanted.class), " and its subtypes"];
    head.push(
      el("p", { role: "status", class: "found-count" }, counted(found.length, "element"), what),
      el("p", {}, el("a", { href: address("tree", [], { document: wanted.document || undefined }) }, "Back to the tree")),
    );
    return new VirtualList({
      role: "listbox",
      label: wanted.search !== null ? `Elements with ${visible(wanted.search)}` : `Elements of ${this.#store.schema.className(wanted.class)}`,
      height: 44,
      count: () => found.length,
      row: (row) => this.#foundRow(document, found[row]),
      choose: (row) => this.#go(found[row]),
    });
  }

  #foundRow(document: DocumentStore, element: number): HTMLElement {
    return el(
      "a",
      { role: "option", tabindex: -1, href: this.#addressOf(element), class: "two-lines", "aria-selected": element === this.#element ? "true" : "false" },
      el("span", { class: "line" }, this.#mark(document, element), elementWords(this.#store, document, element)),
      el("span", { class: "line quiet" }, document.path(element, 12)),
    );
  }

  #addressOf(element: number): string {
    const { document, search, class: type } = this.#listing!;
    return toElement(document, element, { search: search ?? undefined, class: type >= 0 ? type : undefined });
  }

  #go(element: number): void {
    if (element !== undefined) location.hash = this.#addressOf(element);
  }

  #choose({ element }: Wanted, route: Route): void {
    const document = this.#document();
    const inDetails = this.#right.contains(globalThis.document.activeElement);
    this.#element = element;
    if (element >= 0) {
      if (this.#listing!.search === null && this.#listing!.class < 0) this.#tree().reveal(element);
      this.#list!.refresh();
      this.#list!.activate(rowOf(this.#rows(), element), "center");
    } else {
      this.#list!.refresh();
    }
    const missing = route.view === "element" && element < 0;
    this.#right.replaceChildren(missing ? el("p", { class: "details wrong" }, "There is no such element.") : element >= 0 ? elementDetails(this.#store, document, element) : nothingChosen(document));
    this.#right.scrollTop = 0;
    if (inDetails) this.#right.querySelector<HTMLElement>("h2")?.focus({ preventScroll: true });
  }
}

export function treeView(store: Store, route: Route): View {
  const view = new ElementsView(store, route);
  return { title: "Elements", node: view.node, update: (to) => view.update(to), placed: () => view.placed(), gone: () => view.gone() };
}
