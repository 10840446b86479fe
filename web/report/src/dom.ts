// Makes elements. Every text goes through one gate, so that no text of a document can be markup or hide what it is.
import { cut, piecesOf, visible } from "./visible";
import { counted } from "./numbers";

export type Child = Node | string | number | null | undefined | false | Child[];
export type Attributes = Record<string, string | number | boolean | ((event: never) => void) | undefined>;

const vector = "http://www.w3.org/2000/svg";

export function shown(text: string): Node {
  const pieces = piecesOf(text);
  if (pieces.length === 1 && pieces[0].means === null) return document.createTextNode(text);
  const fragment = document.createDocumentFragment();
  for (const piece of pieces) {
    if (piece.means === null) {
      fragment.append(piece.text);
    } else {
      const chip = document.createElement("span");
      chip.className = "unseen";
      chip.title = piece.means;
      chip.textContent = piece.text;
      fragment.append(chip);
      if (piece.means === "U+000A") fragment.append("\n"); // breaks the line where there is room for lines
    }
  }
  return fragment;
}

function fill(parent: Element, children: Child[]): void {
  for (const child of children) {
    if (child === null || child === undefined || child === false) continue;
    if (Array.isArray(child)) fill(parent, child);
    else if (typeof child === "object") parent.append(child);
    else parent.append(parent.namespaceURI === vector ? visible(String(child)) : shown(String(child)));
  }
}

function dress(element: Element, attributes: Attributes): void {
  for (const [name, value] of Object.entries(attributes)) {
    if (value === undefined || value === false) continue;
    if (typeof value === "function") element.addEventListener(name, value as EventListener);
    else element.setAttribute(name, value === true ? "" : visible(String(value)));
  }
}

export function el<K extends keyof HTMLElementTagNameMap>(tag: K, attributes: Attributes = {}, ...children: Child[]): HTMLElementTagNameMap[K] {
  const element = document.createElement(tag);
  dress(element, attributes);
  fill(element, children);
  return element;
}

export function svg<K extends keyof SVGElementTagNameMap>(tag: K, attributes: Attributes = {}, ...children: Child[]): SVGElementTagNameMap[K] {
  const element = document.createElementNS(vector, tag);
  dress(element, attributes);
  fill(element, children);
  return element;
}

// A text of the document that may be long and of any script.
export function textOf(text: string, length = 240): HTMLElement {
  const element = el("bdi", { class: "text" }, cut(text, length));
  if (text.length <= length) return element;
  const more = el(
    "button",
    {
      type: "button",
      class: "more",
      click: () => element.replaceChildren(shown(text)),
    },
    `show all ${counted(text.length, "character")}`,
  );
  element.append("\u2026 ", more);
  return element;
}

// A list of which the rest comes when it is asked for.
export function growing<T>(all: ArrayLike<T>, first: number, make: (each: T) => Node, list: HTMLElement): HTMLElement {
  const grow = (to: number) => {
    const fragment = document.createDocumentFragment();
    for (let i = list.children.length; i < Math.min(to, all.length); ++i) fragment.append(make(all[i]));
    list.append(fragment);
  };
  grow(first);
  if (all.length <= first) return list;
  const more = el("button", { type: "button", class: "more" });
  const tell = () => {
    const left = all.length - list.children.length;
    more.hidden = left === 0;
    more.textContent = `show ${left > 1000 ? "1,000 more of " : ""}${counted(left, "further one")}`;
  };
  more.addEventListener("click", () => {
    grow(list.children.length + 1000);
    tell();
  });
  tell();
  return el("div", {}, list, more);
}

let ids = 0;
export function freshId(): string {
  return `id${++ids}`;
}
