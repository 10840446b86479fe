import { hierarchy, treemap, treemapSquarify, type HierarchyRectangularNode } from "d3-hierarchy";
import { el, svg, type Child } from "../dom";
import { classLink, documentChoice, documentIndex } from "../parts";
import { bytesText, counted, countText, shareText } from "../numbers";
import { address, toClass, type Route } from "../route";
import type { DocumentStore, Store } from "../store";
import type { View } from "../view";
import { cut, visible } from "../visible";

interface Area {
  name: string;
  type: number;
  bytes: number;
  parts: Area[];
}

// The document's bytes by class, and in these by property.
export function areasOf(store: Store, document: DocumentStore): Area {
  const classes = document.data.usage
    .filter((each) => each.bytes > 0)
    .map((each) => ({
      name: store.schema.className(each.class),
      type: each.class,
      bytes: 0,
      parts: [
        ...each.properties.map((part) => ({ name: store.schema.properties[part.property].name, type: each.class, bytes: part.bytes, parts: [] })),
        { name: "heads", type: each.class, bytes: each.own, parts: [] },
      ],
    }));
  const rest = { name: "packages and head", type: -1, bytes: document.data.overhead, parts: [] };
  return { name: "", type: -1, bytes: 0, parts: rest.bytes > 0 ? [...classes, rest] : classes };
}

type Box = HierarchyRectangularNode<Area>;

function drawTreemap(root: Area, width: number, height: number): SVGElement {
  const tree = hierarchy(root, (each) => each.parts)
    .sum((each) => each.bytes)
    .sort((a, b) => (b.value ?? 0) - (a.value ?? 0));
  const boxes = treemap<Area>().tile(treemapSquarify).size([width, height]).paddingInner(1).paddingOuter((each) => (each.depth === 1 ? 1 : 0)).paddingTop((each) => (each.depth === 1 && each.children ? 18 : 0)).round(true)(tree);
  const total = boxes.value ?? 0;
  const classes = (boxes.children ?? []).map((each) => drawClass(each, total));
  return svg("svg", { class: "treemap", width, height, viewBox: `0 0 ${width} ${height}`, role: "group", "aria-label": "Bytes by class and property; the table below says the same" }, ...classes);
}

// The link is the area of the class and says all in words; what is drawn upon it is for the eye.
function drawClass(box: Box, total: number): SVGElement {
  const words = `${box.data.name}: ${bytesText(box.value ?? 0)}, ${shareText(box.value ?? 0, total)}`;
  const area = svg("rect", { class: "class", x: box.x0, y: box.y0, width: box.x1 - box.x0, height: box.y1 - box.y0 });
  const inner = svg(
    "g",
    { class: "inner", "aria-hidden": "true", click: () => box.data.type >= 0 && (location.hash = toClass(box.data.type)) },
    ...label(box.data.name, box.x0 + 5, box.y0 + 13, box.x1 - box.x0 - 8, 18, box.y1 - box.y0, "name"),
    ...(box.children ?? []).flatMap((each, i) => drawProperty(each, box.data.name, total, i)),
  );
  return box.data.type < 0 ? svg("g", { class: "rest" }, area, inner) : svg("g", {}, svg("a", { href: toClass(box.data.type), "aria-label": words }, area), inner);
}

function drawProperty(box: Box, type: string, total: number, rank: number): SVGElement[] {
  const [width, height] = [box.x1 - box.x0, box.y1 - box.y0];
  if (width < 1 || height < 1) return [];
  const rect = svg("rect", { class: box.data.name === "heads" ? "head" : `shade${rank % 3}`, x: box.x0, y: box.y0, width, height });
  rect.append(svg("title", {}, `${type}.${box.data.name}: ${bytesText(box.value ?? 0)}, ${shareText(box.value ?? 0, total)}`));
  const size = height > 34 ? label(bytesText(box.value ?? 0), box.x0 + 5, box.y0 + 29, width - 8, 16, height - 16, "size") : [];
  return [rect, ...label(box.data.name, box.x0 + 5, box.y0 + 14, width - 8, 18, height, ""), ...size];
}

// A word where there is room for a good part of it.
function label(text: string, x: number, y: number, width: number, needed: number, height: number, style: string): SVGElement[] {
  const letters = Math.floor(width / (style === "name" ? 8 : 7.2));
  const words = visible(text);
  if (height < needed || letters < (style === "size" ? words.length : Math.min(4, words.length))) return [];
  return [svg("text", { x, y, class: style }, words.length > letters ? cut(words, letters - 1) + "\u2026" : words)];
}

interface Column {
  head: string;
  key: string;
  value: (row: Row) => number | string;
}

interface Row {
  type: number;
  name: string;
  instances: number;
  bytes: number;
  own: number;
  each: number;
}

const columns: Column[] = [
  { head: "class", key: "name", value: (row) => row.name },
  { head: "elements", key: "instances", value: (row) => row.instances },
  { head: "bytes", key: "bytes", value: (row) => row.bytes },
  { head: "share", key: "bytes", value: (row) => row.bytes },
  { head: "bytes per element", key: "each", value: (row) => row.each },
  { head: "heads", key: "own", value: (row) => row.own },
];

function rowsOf(store: Store, document: DocumentStore): Row[] {
  return document.data.usage
    .filter((each) => each.instances > 0 || each.bytes > 0)
    .map((each) => ({
      type: each.class,
      name: store.schema.className(each.class),
      instances: each.instances,
      bytes: each.bytes,
      own: each.own,
      each: each.instances > 0 ? each.bytes / each.instances : 0,
    }));
}

export function sortRows(rows: Row[], key: string, descending: boolean): Row[] {
  const value = (columns.find((each) => each.key === key) ?? columns[2]).value;
  const order = (a: Row, b: Row) => {
    const [x, y] = [value(a), value(b)];
    return typeof x === "string" ? x.localeCompare(y as string) : x - (y as number);
  };
  return [...rows].sort((a, b) => (descending ? order(b, a) : order(a, b)));
}

function sizeTable(store: Store, document: DocumentStore, route: Route): Child {
  const key = route.options.get("sort") ?? "bytes";
  const descending = route.options.get("order") !== "up";
  const total = document.data.usage.reduce((sum, each) => sum + each.bytes, document.data.overhead);
  const head = (column: Column, index: number) => {
    const current = column.key === key && column.head !== "share";
    const order = current ? (descending ? "up" : undefined) : column.key === "name" ? "up" : undefined;
    const link = el("a", { href: address("sizes", [], { document: document.index || undefined, sort: column.key, order }), "data-sort": column.key }, column.head, current && (descending ? " \u2193" : " \u2191"));
    return el("th", { scope: "col", class: index > 0 && "number", "aria-sort": current ? (descending ? "descending" : "ascending") : undefined }, column.head === "share" ? "share" : link);
  };
  const number = (text: string) => el("td", { class: "number" }, text);
  const rows = sortRows(rowsOf(store, document), key, descending).map((row) =>
    el("tr", {}, el("th", { scope: "row" }, classLink(store, row.type)), number(countText(row.instances)), number(countText(row.bytes)), number(shareText(row.bytes, total)), number(row.each.toFixed(1)), number(countText(row.own))),
  );
  const overhead = el("tr", { class: "quiet" }, el("th", { scope: "row" }, "packages and head"), number(""), number(countText(document.data.overhead)), number(shareText(document.data.overhead, total)), number(""), number(""));
  return el("div", { class: "scroll", tabindex: 0, role: "region", "aria-label": "Bytes by class" }, el("table", {}, el("caption", { class: "hidden" }, "Bytes by class"), el("thead", {}, el("tr", {}, columns.map(head))), el("tbody", {}, rows, overhead)));
}

export function sizesView(store: Store, first: Route): View {
  const choice = el("div");
  const summary = el("p");
  const map = el("div", { class: "map" });
  const list = el("div");
  const node = el("div", { class: "page wide" }, el("h1", { tabindex: -1 }, "Sizes"), choice, summary, map, list);
  let document = store.documents[0];
  const draw = () => {
    if (map.clientWidth > 0) map.replaceChildren(drawTreemap(areasOf(store, document), map.clientWidth, Math.max(240, Math.min(460, Math.round(innerHeight * 0.5)))));
  };
  const watch = new ResizeObserver(draw);
  const update = (route: Route) => {
    document = store.documents[documentIndex(store, route.options)];
    const shown = document.data.shown?.format ?? (document.data.format === "krt" ? "krt" : "krb");
    const classes = document.data.usage.filter((each) => each.instances > 0).length;
    choice.replaceChildren(...[documentChoice(store, document.index, (index) => address("sizes", [], { document: index || undefined }))].filter((each) => each instanceof Node));
    summary.replaceChildren(`${counted(document.count, "element")} of ${counted(classes, "class", "classes")}, as bytes of .${shown}. An area is as large as what it stands for.`);
    const sorted = (globalThis.document.activeElement as HTMLElement | null)?.dataset?.sort;
    list.replaceChildren(sizeTable(store, document, route) as Node);
    if (sorted) list.querySelector<HTMLElement>(`[data-sort="${CSS.escape(sorted)}"]`)?.focus({ preventScroll: true });
    draw();
    return true;
  };
  update(first);
  return { title: "Sizes", node, update, placed: () => watch.observe(map), gone: () => watch.disconnect() };
}
