import { el, type Child } from "../dom";
import { badge, elementWords } from "../parts";
import { countText, counted } from "../numbers";
import { address, toElement, type Route } from "../route";
import type { Store } from "../store";
import type { View } from "../view";
import { VirtualList } from "../virtual";
import { editKinds, type Edit, type EditKind } from "../contract";
import { cut } from "../visible";

const height = 50;

export function differencesView(store: Store, first: Route): View {
  const { differences } = store;
  if (!differences) return { title: "Differences", node: el("div", { class: "page" }, el("h1", { tabindex: -1 }, "Differences"), el("p", {}, "This page is of one document.")) };
  let edits: Edit[] = [];
  const filter = el("nav", { class: "choice", "aria-label": "Kinds of differences" });
  const status = el("p", { role: "status", class: "quiet" });
  const list = new VirtualList({ role: "list", label: "Differences", height, count: () => edits.length, row: (index) => editRow(store, edits[index]) });
  const node = el("div", { class: "page full" }, el("h1", { tabindex: -1 }, "Differences"), filter, status, list.element);
  const update = (route: Route) => {
    const kind = editKinds.find((each) => each === route.options.get("kind")) ?? null;
    edits = kind ? differences.edits.filter((each) => each.kind === kind) : differences.edits;
    const link = (words: Child, to: EditKind | undefined, count: number) => el("a", { href: address("differences", [], { kind: to }), "aria-current": (to ?? null) === kind ? "true" : undefined }, words, " ", countText(count));
    filter.replaceChildren(link("all", undefined, differences.total), ...editKinds.filter((each) => differences.counts[each] > 0).map((each) => link(badge(each), each, differences.counts[each])));
    const listed = kind ? differences.counts[kind] : differences.total;
    status.replaceChildren(listed === 0 ? "The two documents say the same." : counted(listed, "difference"), listed > edits.length ? `; the first ${countText(edits.length)} are listed` : "");
    list.element.scrollTop = 0;
    list.refresh();
    return true;
  };
  update(first);
  return { title: "Differences", node, update, placed: () => list.refresh(), gone: () => list.stop() };
}

function editRow(store: Store, edit: Edit): HTMLElement {
  return el("div", { role: "listitem", class: "two-lines" }, el("div", { class: "line" }, badge(edit.kind), " ", whatHappened(store, edit)), el("div", { class: "line quiet" }, places(store, edit)));
}

function whatHappened(store: Store, edit: Edit): Child {
  const property = store.schema.properties[edit.property]?.name;
  if (edit.valueBefore !== "" || edit.valueAfter !== "") {
    return [property !== undefined && [el("b", {}, property), " "], el("bdi", { class: "old" }, cut(edit.valueBefore, 160)), " \u2192 ", el("bdi", { class: "new" }, cut(edit.valueAfter, 160))];
  }
  const document = store.documents[edit.after >= 0 ? 1 : 0];
  const element = edit.after >= 0 ? edit.after : edit.before;
  if (element < 0) return el("bdi", {}, cut(edit.sentence, 300));
  return [elementWords(store, document, element), edit.elements > 1 && `, ${counted(edit.elements, "element")}`];
}

// Where it was and where it is, each as a link into its tree.
function places(store: Store, edit: Edit): Child {
  const path = (document: number, element: number, told: string) => told || (element >= 0 ? store.documents[document].path(element) : "");
  const place = (document: number, element: number, words: string): Child => (element >= 0 ? el("a", { href: toElement(document, element) }, words) : words);
  const before = path(0, edit.before, edit.pathBefore);
  const after = path(1, edit.after, edit.pathAfter);
  if (before === after && edit.before >= 0 && edit.after >= 0) return [before, ": ", place(0, edit.before, "before"), ", ", place(1, edit.after, "after")];
  return [place(0, edit.before, before), before !== "" && after !== "" && " \u2192 ", place(1, edit.after, after)];
}
