// Small pieces that several views show.
import { el, type Child } from "./dom";
import { address, toClass, toElement } from "./route";
import type { DocumentStore, Store } from "./store";
import type { EditKind } from "./contract";
import { cut } from "./visible";

export function classLink(store: Store, index: number): HTMLElement {
  return el("a", { href: toClass(index), class: "class-name" }, el("bdi", {}, store.schema.className(index)));
}

// An element as a link: its class, and by what it is known.
export function elementLink(store: Store, document: DocumentStore, element: number): HTMLElement {
  return el("a", { href: toElement(document.index, element), class: "element" }, elementWords(store, document, element));
}

export function elementWords(store: Store, document: DocumentStore, element: number): Child[] {
  const label = document.label(element);
  return [el("span", { class: "class-name" }, store.schema.className(document.class[element])), label !== "" && [" ", el("bdi", { class: "label" }, cut(label, 80))]];
}

const words: Record<EditKind, string> = {
  added: "added",
  removed: "removed",
  moved: "moved",
  reordered: "reordered",
  identity: "identity",
  changed: "changed",
};

export function badge(kind: EditKind): HTMLElement {
  return el("span", { class: `badge ${kind}` }, words[kind]);
}

// Which of two documents is looked at; nothing where there is one.
export function documentChoice(store: Store, current: number, to: (document: number) => string): Child {
  if (store.documents.length < 2) return null;
  return el(
    "nav",
    { class: "choice", "aria-label": "Document" },
    store.documents.map((each, index) =>
      el("a", { href: to(index), "aria-current": index === current ? "true" : undefined }, index === 0 ? "before: " : "after: ", el("bdi", {}, each.data.name)),
    ),
  );
}

export function documentIndex(store: Store, options: URLSearchParams): number {
  return options.get("document") === "1" && store.documents.length > 1 ? 1 : 0;
}

export function table(caption: string, heads: Child[], rows: Child[][], numeric: number[] = []): HTMLElement {
  const style = (column: number) => ({ class: numeric.includes(column) ? "number" : undefined });
  return el(
    "div",
    { class: "scroll", tabindex: 0, role: "region", "aria-label": caption },
    el(
      "table",
      {},
      el("caption", { class: "hidden" }, caption),
      el("thead", {}, el("tr", {}, heads.map((head, i) => el("th", { scope: "col", ...style(i) }, head)))),
      el("tbody", {}, rows.map((row) => el("tr", {}, row.map((cell, i) => (i === 0 ? el("th", { scope: "row", ...style(i) }, cell) : el("td", style(i), cell)))))),
    ),
  );
}

export function notThere(what: string): HTMLElement {
  return el("div", { class: "page" }, el("h1", { tabindex: -1 }, "Not here"), el("p", {}, what, " ", el("a", { href: address("summary") }, "Summary")));
}
