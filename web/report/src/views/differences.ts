import { el, type Child } from "../dom";
import { badge } from "../parts";
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
  const property = store.schema.properties[edit.property]?.name;
  const place = (document: number, element: number, path: string): Child => (element >= 0 ? el("a", { href: toElement(document, element) }, path || store.documents[document].path(element)) : path);
  const before = place(0, edit.before, edit.pathBefore);
  const after = place(1, edit.after, edit.pathAfter);
  const both = (edit.before >= 0 || edit.pathBefore !== "") && (edit.after >= 0 || edit.pathAfter !== "");
  return el(
    "div",
    { role: "listitem", class: "two-lines" },
    el("div", { class: "line" }, badge(edit.kind), " ", property !== undefined && [el("b", {}, property), " "], values(edit)),
    el("div", { class: "line quiet" }, before, both && " \u2192 ", after),
  );
}

function values(edit: Edit): Child {
  if (edit.valueBefore === "" && edit.valueAfter === "") return el("bdi", {}, cut(edit.sentence, 300));
  return [el("bdi", { class: "old" }, cut(edit.valueBefore, 160)), " \u2192 ", el("bdi", { class: "new" }, cut(edit.valueAfter, 160))];
}
