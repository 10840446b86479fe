// All that a document says about one element.
import { el, growing, textOf, type Child } from "./dom";
import { badge, classLink, elementLink } from "./parts";
import { counted } from "./numbers";
import { address, toBytes } from "./route";
import type { DocumentStore, Referrer, Store } from "./store";
import type { PropertyData } from "./contract";

const firstValues = 40;

export function elementDetails(store: Store, document: DocumentStore, element: number): HTMLElement {
  const label = document.label(element);
  const mark = store.marks[document.index].get(element);
  return el(
    "article",
    { class: "details", "aria-labelledby": "element-name" },
    el("h2", { id: "element-name", tabindex: -1 }, label === "" ? document.path(element, 4) : textOf(label, 120), " ", mark && badge(mark)),
    el("dl", { class: "facts" }, facts(store, document, element).map(([name, value]) => el("div", {}, el("dt", {}, name), el("dd", {}, value)))),
    values(store, document, element),
    contained(store, document, element),
    referrers(store, document, element),
  );
}

function facts(store: Store, document: DocumentStore, element: number): [string, Child][] {
  const parent = document.parent[element];
  const found: [string, Child][] = [
    ["class", classLink(store, document.class[element])],
    ["path", el("code", {}, textOf(document.path(element)))],
  ];
  if (parent >= 0) found.push(["in", elementLink(store, document, parent)]);
  if (document.identity[element] >= 0) found.push(["identity", textOf(document.texts[document.identity[element]])]);
  if (document.data.shown) found.push(["bytes", el("a", { href: toBytes(document.index, element) }, bytesWords(document, element))]);
  return found;
}

function bytesWords(document: DocumentStore, element: number): string {
  const notes = document.notes();
  if (!notes || element >= notes.begins.length) return "show them";
  return counted(notes.offset[notes.endOf(element)] - notes.offset[notes.begins[element]], "byte");
}

export function valueNode(store: Store, document: DocumentStore, property: PropertyData, item: number): Node {
  if (property.kind === "attribute") return textOf(document.texts[item] ?? "");
  if (item >= 0) return elementLink(store, document, item);
  return el("span", { class: "elsewhere", title: "not an element of this document" }, textOf(document.texts[-1 - item] ?? ""));
}

function values(store: Store, document: DocumentStore, element: number): Child {
  const set = new Set<number>();
  const rows: HTMLElement[] = [];
  for (let v = document.valueStart[element]; v < document.valueStart[element + 1]; ++v) {
    const property = document.valueProperty[v];
    set.add(property);
    const data = store.schema.properties[property];
    const items = document.items.subarray(document.itemStart[v], document.itemStart[v + 1]);
    rows.push(el("tr", {}, el("th", { scope: "row" }, el("bdi", {}, data.name)), el("td", {}, propertyValue(store, document, data, items))));
  }
  const unset = store.schema
    .allProperties(document.class[element])
    .map((each) => store.schema.properties[each])
    .filter((each, i, all) => each.kind !== "containment" && all.indexOf(each) === i && !set.has(store.schema.properties.indexOf(each)));
  return el(
    "section",
    {},
    el("h3", {}, "Values"),
    rows.length > 0 ? el("table", { class: "values" }, el("caption", { class: "hidden" }, "Values"), el("tbody", {}, rows)) : el("p", { class: "quiet" }, "none"),
    unset.length > 0 && el("p", { class: "quiet small" }, "not set: ", el("bdi", {}, unset.map((each) => each.name).join(", "))),
  );
}

function propertyValue(store: Store, document: DocumentStore, property: PropertyData, items: Int32Array): Node {
  if (property.upper === 1 && items.length === 1) return valueNode(store, document, property, items[0]);
  if (items.length === 0) return el("span", { class: "quiet" }, "empty");
  return growing(items, firstValues, (item) => el("li", {}, valueNode(store, document, property, item)), el("ol", { start: 0 }));
}

function contained(store: Store, document: DocumentStore, element: number): Child {
  const children = document.children(element);
  if (children.length === 0) return null;
  const byProperty = new Map<number, number[]>();
  for (const child of children) {
    const group = byProperty.get(document.via[child]);
    if (group) group.push(child);
    else byProperty.set(document.via[child], [child]);
  }
  const groups = [...byProperty].map(([property, list]) => {
    const name = store.schema.properties[property]?.name ?? "?";
    const items = growing(list, firstValues, (child) => el("li", {}, elementLink(store, document, child)), el("ol", { start: 0 }));
    return el("tr", {}, el("th", { scope: "row" }, el("bdi", {}, name)), el("td", {}, items));
  });
  return el("section", {}, el("h3", {}, "Contains ", counted(children.length, "element")), el("table", { class: "values" }, el("caption", { class: "hidden" }, "Contained elements"), el("tbody", {}, groups)));
}

function referrers(store: Store, document: DocumentStore, element: number): Child {
  const found = document.referrers(element);
  if (found.length === 0) return null;
  const item = ({ element: from, property }: Referrer) => el("li", {}, elementLink(store, document, from), " ", el("span", { class: "quiet" }, "by ", el("bdi", {}, store.schema.properties[property].name)));
  return el("section", {}, el("h3", {}, "Referred to by ", counted(found.length, "reference")), growing(found, firstValues, item, el("ul", { class: "plain" })));
}

export function nothingChosen(document: DocumentStore): HTMLElement {
  return el(
    "div",
    { class: "details quiet" },
    el("p", {}, `${counted(document.count, "element")}. Choose one to see what the document says about it.`),
    el("p", {}, "Arrow keys, Home and End move in the tree, Enter chooses. The field above finds texts in all elements; ", el("a", { href: address("diagram") }, "classes"), " lead to theirs."),
  );
}
