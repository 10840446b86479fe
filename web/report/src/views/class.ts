import { el, textOf, type Child } from "../dom";
import { classLink, notThere, table } from "../parts";
import { bytesText, counted, countText, multiplicityText } from "../numbers";
import { address, indexIn, type Route } from "../route";
import type { Schema, Store } from "../store";
import type { View } from "../view";
import { visible } from "../visible";
import type { PropertyData } from "../contract";

export function classView(store: Store, route: Route): View {
  const index = indexIn(route.parts[0], store.schema.classes.length);
  if (index < 0) return { title: "Class", node: notThere("There is no such class.") };
  const { schema } = store;
  const type = schema.classes[index];
  const name = el("bdi", {}, type.name);
  const node = el(
    "div",
    { class: "page" },
    el("p", { class: "above" }, el("a", { href: address("diagram") }, "Classes"), " / ", el("bdi", {}, schema.packages[type.package]?.name ?? "")),
    el("h1", { tabindex: -1 }, type.abstract ? el("i", {}, name) : name, " ", el("small", {}, type.kind === "datatype" ? "data type" : type.abstract ? "abstract class" : "class")),
    el("p", {}, el("a", { href: address("diagram", [], { around: index }) }, "Show it with its neighbours in the diagram")),
    relatives("Supertypes", type.supertypes, store),
    relatives("Subtypes", schema.subtypes[index], store),
    usage(store, index),
    properties(store, index),
    usedBy(store, index),
  );
  return { title: visible(type.name), node };
}

function relatives(heading: string, types: number[], store: Store): Child {
  return types.length > 0 && el("p", {}, `${heading}: `, types.map((each, i) => [i > 0 && ", ", classLink(store, each)]));
}

function usage(store: Store, index: number): Child {
  return store.documents.map((document) => {
    const used = document.data.usage.find((each) => each.class === index);
    const which = store.documents.length > 1 && [el("bdi", {}, document.data.name), ": "];
    if (!used || used.instances === 0) return el("p", { class: "quiet" }, which, "no elements of this class itself");
    return el(
      "p",
      {},
      which,
      el("a", { href: address("tree", [], { class: index, document: document.index || undefined }) }, counted(used.instances, "element")),
      `, ${bytesText(used.bytes)}, of these ${bytesText(used.own)} for saying what they are`,
    );
  });
}

function flags(property: PropertyData): string {
  const many = property.upper !== 1;
  return [property.isId && "id", many && property.ordered && "ordered", many && !property.unique && "not unique"].filter(Boolean).join(", ");
}

export function typeNode(store: Store, property: PropertyData): Node {
  if (property.target >= 0) return classLink(store, property.target);
  return el("bdi", {}, store.schema.typeText(property));
}

function properties(store: Store, index: number): Child {
  const { schema } = store;
  const all = schema.allProperties(index);
  if (all.length === 0) return el("p", { class: "quiet" }, "It has no properties.");
  const figures = store.documents.map((document) => new Map(document.data.usage.find((each) => each.class === index)?.properties.map((each) => [each.property, each])));
  const suffix = (document: number) => (store.documents.length > 1 ? (document === 0 ? " before" : " after") : "");
  const heads = ["property", "kind", "type", "how many", "further", "from", ...figures.flatMap((_, i) => [`set${suffix(i)}`, `values${suffix(i)}`, `bytes${suffix(i)}`])];
  const rows = all.map((each): Child[] => {
    const property = schema.properties[each];
    return [
      el("bdi", {}, property.name),
      property.kind,
      typeNode(store, property),
      multiplicityText(property.lower, property.upper),
      [flags(property), property.opposite >= 0 && [flags(property) && ", ", "opposite of ", oppositeName(schema, property)]],
      property.class === index ? "" : classLink(store, property.class),
      ...figures.flatMap((of): Child[] => {
        const used = of.get(each);
        return used ? [countText(used.set), countText(used.values), countText(used.bytes)] : ["", "", ""];
      }),
    ];
  });
  return el("section", {}, el("h2", {}, "Properties"), table(`Properties of ${visible(schema.className(index))}`, heads, rows, [...Array(figures.length * 3).keys()].map((i) => i + 6)), enumerations(store, all));
}

function oppositeName(schema: Schema, property: PropertyData): Node {
  const opposite = schema.properties[property.opposite];
  return el("bdi", {}, `${schema.className(opposite.class)}.${opposite.name}`);
}

function enumerations(store: Store, properties: number[]): Child {
  const used = [...new Set(properties.map((each) => store.schema.properties[each].enumeration))].filter((each) => each >= 0);
  return used.map((each) => {
    const { name, literals } = store.schema.enumerations[each];
    return el("p", {}, "Literals of ", el("bdi", {}, name), ": ", textOf(literals.map((literal) => `${literal.name} = ${literal.value}`).join(", ")));
  });
}

function usedBy(store: Store, index: number): Child {
  const above = new Set(store.schema.withSupertypes(index));
  const leading = store.schema.properties.flatMap((property) => (above.has(property.target) ? [property] : []));
  if (leading.length === 0) return null;
  return el(
    "section",
    {},
    el("h2", {}, "Properties that lead here"),
    table(
      "Properties that lead here",
      ["class", "property", "kind", "how many"],
      leading.map((property) => [classLink(store, property.class), el("bdi", {}, property.name), property.kind, multiplicityText(property.lower, property.upper)]),
    ),
  );
}
