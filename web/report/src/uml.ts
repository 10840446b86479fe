// Which boxes and lines a class diagram has; nothing here knows how they look.
import type { Schema } from "./store";
import { multiplicityText } from "./numbers";
import { cut, visible } from "./visible";

export interface Box {
  id: string;
  class: number; // -1: an enumeration
  stereotype: string;
  title: string;
  abstract: boolean;
  lines: string[];
}

export interface End {
  role: string;
  multiplicity: string;
  arrow: boolean;
}

export interface Line {
  id: string;
  kind: "inheritance" | "association" | "composition";
  from: string; // the supertype, the whole, or the class that has the property
  to: string;
  fromEnd: End | null;
  toEnd: End | null;
}

export interface Diagram {
  boxes: Box[];
  lines: Line[];
}

const mostLines = 14;
const widest = 44;

function shorten(text: string): string {
  const words = visible(text);
  return words.length > widest ? cut(words, widest - 1) + "\u2026" : words;
}

function capped(lines: string[]): string[] {
  return lines.length <= mostLines ? lines : [...lines.slice(0, mostLines - 1), `\u2026 ${lines.length - mostLines + 1} more`];
}

export interface Choice {
  all: boolean;
  package: number; // -1: all
  around: number; // a class of which the neighbours are shown; -1: none
}

// The classes that a diagram shows: the used ones and what they inherit from, unless all are asked for.
export function chosenClasses(schema: Schema, choice: Choice): Set<number> {
  if (choice.around >= 0) return new Set([choice.around, ...neighbours(schema, choice.around)]);
  const chosen = new Set<number>();
  schema.classes.forEach((type, index) => {
    if (choice.all || type.used) for (const each of schema.withSupertypes(index)) chosen.add(each);
  });
  if (choice.package >= 0) for (const each of chosen) if (schema.classes[each].package !== choice.package) chosen.delete(each);
  return chosen;
}

export function neighbours(schema: Schema, index: number): number[] {
  const found = new Set([...schema.classes[index].supertypes, ...schema.subtypes[index]]);
  for (const property of schema.properties) {
    if (property.target < 0) continue;
    if (property.class === index) found.add(property.target);
    if (property.target === index) found.add(property.class);
  }
  found.delete(index);
  return [...found];
}

// A property is a line where its target is in the diagram, and else a line of text in its box.
export function diagramOf(schema: Schema, chosen: Set<number>): Diagram {
  const boxes: Box[] = [];
  const lines: Line[] = [];
  const enumerations = new Set<number>();
  for (const index of chosen) {
    const type = schema.classes[index];
    const texts: string[] = [];
    for (const each of type.properties) {
      const property = schema.properties[each];
      if (property.enumeration >= 0) enumerations.add(property.enumeration);
      const line = property.kind !== "attribute" && chosen.has(property.target) ? association(schema, each, chosen) : null;
      if (line) lines.push(line);
      else if (property.kind === "attribute" || !chosen.has(property.target)) texts.push(attributeText(schema, each));
    }
    for (const supertype of type.supertypes) {
      if (chosen.has(supertype)) lines.push({ id: `i${supertype}-${index}`, kind: "inheritance", from: `c${supertype}`, to: `c${index}`, fromEnd: null, toEnd: null });
    }
    boxes.push({ id: `c${index}`, class: index, stereotype: type.kind === "datatype" ? "\u00abdatatype\u00bb" : "", title: shorten(type.name), abstract: type.abstract, lines: capped(texts) });
  }
  for (const index of enumerations) {
    const { name, literals } = schema.enumerations[index];
    boxes.push({ id: `e${index}`, class: -1, stereotype: "\u00abenumeration\u00bb", title: shorten(name), abstract: false, lines: capped(literals.map((each) => shorten(each.name))) });
  }
  return { boxes, lines };
}

function attributeText(schema: Schema, index: number): string {
  const property = schema.properties[index];
  const many = property.lower === 1 && property.upper === 1 ? "" : ` [${multiplicityText(property.lower, property.upper)}]`;
  return shorten(`${property.name}: ${schema.typeText(property)}`) + many;
}

// The line of a property; nothing for the one of two opposites whose line the other one draws.
function association(schema: Schema, index: number, chosen: Set<number>): Line | null {
  const property = schema.properties[index];
  const opposite = property.opposite >= 0 ? schema.properties[property.opposite] : null;
  if (opposite && opposite !== property && chosen.has(opposite.class)) {
    const otherLeads = opposite.kind === "containment" || (property.kind !== "containment" && property.opposite < index);
    if (otherLeads) return null;
  }
  const end = (of: typeof property, arrow: boolean): End => ({ role: shorten(of.name), multiplicity: multiplicityText(of.lower, of.upper), arrow });
  return {
    id: `p${index}`,
    kind: property.kind === "containment" ? "composition" : "association",
    from: `c${property.class}`,
    to: `c${property.target}`,
    fromEnd: opposite ? end(opposite, false) : null,
    toEnd: end(property, !opposite && property.kind !== "containment"),
  };
}
