import { el, textOf, type Child } from "../dom";
import { badge, table } from "../parts";
import { bytesText, countText, counted, shareText } from "../numbers";
import { address, toElement } from "../route";
import type { DocumentStore, Store } from "../store";
import type { View } from "../view";
import { VirtualList } from "../virtual";
import { editKinds, type Problem } from "../contract";
import { visible } from "../visible";

const formats: Record<string, string> = { xmi: "XMI", krb: ".krb", krt: ".krt", krz: ".krz", json: "JSON" };

export function summaryView(store: Store): View {
  const lists: VirtualList[] = [];
  const node = el(
    "div",
    { class: "page" },
    el("h1", { tabindex: -1 }, "Summary"),
    differencesLine(store),
    el("div", { class: "columns" }, store.documents.map((document) => documentPart(store, document, lists))),
    packagesPart(store),
    el("p", { class: "quiet" }, "Written by ", store.producer, "."),
  );
  return { title: "Summary", node, placed: () => lists.forEach((list) => list.refresh()), gone: () => lists.forEach((list) => list.stop()) };
}

function differencesLine(store: Store): Child {
  if (!store.differences) return null;
  const { counts, total } = store.differences;
  if (total === 0) return el("p", {}, "The two documents say the same.");
  return el(
    "p",
    { class: "kinds" },
    el("a", { href: address("differences") }, counted(total, "difference")),
    editKinds.filter((kind) => counts[kind] > 0).map((kind) => el("a", { href: address("differences", [], { kind }) }, badge(kind), " ", countText(counts[kind]))),
  );
}

function documentPart(store: Store, document: DocumentStore, lists: VirtualList[]): HTMLElement {
  const { data } = document;
  const heading = store.documents.length > 1 ? (document.index === 0 ? "Before: " : "After: ") : "";
  const elements = data.facts.find(([name]) => name === "elements")?.[1] ?? countText(document.count);
  const facts: [string, Child][] = [
    ["format", formats[data.format] ?? data.format],
    ["size", data.bytes < 1000 ? counted(data.bytes, "byte") : `${bytesText(data.bytes)} (${countText(data.bytes)} bytes)`],
    ["elements", el("a", { href: address("tree", [], { document: document.index || undefined }) }, elements)],
    ["classes", el("a", { href: address("diagram") }, `${countText(data.usage.filter((each) => each.instances > 0).length)} with elements`)],
    ...data.facts.filter(([name]) => name !== "elements").map(([name, value]): [string, Child] => [name, textOf(value)]),
  ];
  return el(
    "section",
    { class: "card", "aria-labelledby": `document-${document.index}` },
    el("h2", { id: `document-${document.index}` }, heading, el("bdi", {}, data.name)),
    el("div", { class: "columns" }, el("dl", { class: "facts" }, facts.map(([name, value]) => el("div", {}, el("dt", {}, name), el("dd", {}, value)))), sizesPart(document)),
    problemsPart(document, lists),
  );
}

function sizesPart(document: DocumentStore): Child {
  const { sizes } = document.data;
  if (sizes.length === 0) return null;
  const largest = Math.max(...sizes.map((each) => each.bytes), 1);
  const xmi = sizes.find((each) => each.format === "xmi")?.bytes ?? 0;
  const bar = (bytes: number) => {
    const filled = el("div", { class: "filled" });
    filled.style.width = `${(100 * bytes) / largest}%`;
    return el("div", { class: "bar", "aria-hidden": "true" }, filled);
  };
  return el(
    "div",
    {},
    el("h3", {}, "The same model in each format"),
    table(
      `Bytes of ${visible(document.data.name)} in each format`,
      ["format", "bytes", "of XMI", el("span", { class: "hidden" }, "bar")],
      sizes.map((each) => [formats[each.format] ?? each.format, countText(each.bytes), shareText(each.bytes, xmi), bar(each.bytes)]),
      [1, 2],
    ),
  );
}

function problemsPart(document: DocumentStore, lists: VirtualList[]): Child {
  const { problems, problemCount } = document.data;
  if (problemCount === 0) return [el("h3", {}, "Problems"), el("p", { class: "good" }, "kr0 check finds none.")];
  const height = 46;
  const list = new VirtualList({
    role: "list",
    label: `Problems of ${visible(document.data.name)}`,
    height,
    count: () => problems.length,
    row: (index) => problemRow(document, problems[index]),
  });
  list.element.style.height = `${Math.min(problems.length, 8) * height}px`;
  lists.push(list);
  const cut = problemCount > problems.length && el("p", { class: "quiet" }, `The first ${countText(problems.length)} are shown.`);
  return [el("h3", {}, counted(problemCount, "problem")), list.element, cut];
}

function problemRow(document: DocumentStore, problem: Problem): HTMLElement {
  const place = problem.place !== "" ? problem.place : problem.element >= 0 ? document.path(problem.element) : "";
  return el(
    "div",
    { role: "listitem", class: "two-lines" },
    el("div", { class: "line" }, el("span", { class: problem.wrong ? "badge removed" : "badge reordered" }, problem.kind), " ", el("bdi", {}, problem.text)),
    el("div", { class: "line quiet" }, problem.element >= 0 && problem.element < document.count ? el("a", { href: toElement(document.index, problem.element) }, place) : place),
  );
}

function packagesPart(store: Store): Child {
  const { packages, classes } = store.schema;
  if (packages.length === 0) return null;
  const counts = packages.map((_, index) => classes.filter((each) => each.package === index).length);
  return el(
    "section",
    { class: "card" },
    el("h2", {}, "Packages"),
    table(
      "Packages of the meta model",
      ["name", "classes", "URI", "fingerprint"],
      packages.map((each, index) => [
        el("a", { href: address("diagram", [], { package: index }) }, each.name),
        countText(counts[index]),
        el("bdi", {}, each.uri),
        el("code", {}, each.fingerprint),
      ]),
      [1],
    ),
  );
}
