import { drawDiagram } from "../draw";
import { el, growing, type Child } from "../dom";
import { layout, type Placed } from "../layout";
import { countText, counted } from "../numbers";
import { address, indexIn, type Route } from "../route";
import type { Store } from "../store";
import { chosenClasses, diagramOf, type Choice, type Diagram } from "../uml";
import type { View } from "../view";

// More than this takes the layout so long that it is asked for first.
const manyClasses = 150;
const manyLines = 300;
const zooms = { least: 0.1, most: 3, step: 1.25, readable: 0.65 };

export function choiceOf(store: Store, route: Route): Choice {
  const { options } = route;
  return {
    all: options.get("all") === "1",
    package: indexIn(options.get("package") ?? undefined, store.schema.packages.length),
    around: indexIn(options.get("around") ?? undefined, store.schema.classes.length),
  };
}

function measurer(): (text: string, bold: boolean) => number {
  const context = document.createElement("canvas").getContext("2d");
  const style = getComputedStyle(document.documentElement);
  const family = style.getPropertyValue("--font") || "sans-serif";
  return (text, bold) => {
    if (!context) return text.length * 7.5;
    context.font = `${bold ? "600 " : ""}12px ${family}`;
    return context.measureText(text).width;
  };
}

class DiagramView {
  readonly node: HTMLElement;
  readonly #store: Store;
  readonly #choices = el("div", { class: "tools" });
  readonly #status = el("p", { class: "quiet", role: "status" });
  readonly #port = el("div", { class: "port", tabindex: 0, role: "region", "aria-label": "Class diagram; plus, minus and zero change its size" });
  readonly #find = el("input", { type: "search", id: "find-class", placeholder: "Find a class", "aria-label": "Find a class in the diagram", autocomplete: "off", spellcheck: "false" });
  readonly #found = el("span", { class: "quiet", role: "status" });
  readonly #size = el("span", { class: "quiet zoom-size" });
  #placed: Placed | null = null;
  #drawing: SVGSVGElement | null = null;
  #zoom = 1;
  #asked = 0;
  #match = -1;
  #listed: number[] = [];

  constructor(store: Store, route: Route) {
    this.#store = store;
    const button = (words: string, label: string, action: () => void) => el("button", { type: "button", "aria-label": label, title: label, click: action }, words);
    this.node = el(
      "div",
      { class: "page full" },
      el("h1", { tabindex: -1 }, "Class diagram"),
      el(
        "div",
        { class: "tools" },
        this.#choices,
        el("form", { role: "search", "aria-label": "Classes", submit: (event: Event) => this.#next(event) }, this.#find),
        this.#found,
        el("span", { class: "group" }, button("\u2212", "Smaller", () => this.#scale(this.#zoom / zooms.step)), this.#size, button("+", "Larger", () => this.#scale(this.#zoom * zooms.step)), button("Fit", "Fit into the window", () => this.#fit())),
        this.#status,
      ),
      this.#port,
    );
    this.#find.addEventListener("input", () => {
      this.#match = -1;
      this.#highlight();
    });
    this.#port.addEventListener("keydown", (event) => this.#key(event));
    this.#port.addEventListener("wheel", (event) => this.#wheel(event), { passive: false });
    this.#port.addEventListener("pointerdown", (event) => this.#drag(event));
    this.#route = route;
  }

  #route: Route;

  update(route: Route): boolean {
    this.#route = route;
    const { schema } = this.#store;
    const choice = choiceOf(this.#store, route);
    this.#showChoices(choice);
    const chosen = chosenClasses(schema, choice);
    const diagram = diagramOf(schema, chosen);
    this.#port.replaceChildren();
    this.#drawing = this.#placed = null;
    this.#listed = [];
    ++this.#asked;
    if (diagram.boxes.length === 0) this.#status.replaceChildren("There is no class to show.");
    else if (chosen.size > manyClasses || diagram.lines.length > manyLines) this.#ask(diagram, chosen);
    else void this.#show(diagram);
    return true;
  }

  #showChoices(choice: Choice): void {
    const { schema } = this.#store;
    const used = chosenClasses(schema, { ...choice, all: false, around: -1 }).size;
    const all = chosenClasses(schema, { ...choice, all: true, around: -1 }).size;
    const link = (words: string, href: string, current: boolean) => el("a", { href, "aria-current": current ? "true" : undefined }, words);
    const inPackage = choice.package >= 0 ? choice.package : undefined;
    const parts: Child[] = [
      el(
        "nav",
        { class: "choice", "aria-label": "Which classes" },
        link(`used (${countText(used)})`, address("diagram", [], { package: inPackage }), !choice.all && choice.around < 0),
        link(`all (${countText(all)})`, address("diagram", [], { all: 1, package: inPackage }), choice.all && choice.around < 0),
        choice.around >= 0 && link(`around ${schema.className(choice.around)}`, address("diagram", [], { around: choice.around }), true),
      ),
      schema.packages.length > 1 && this.#packageChoice(choice),
    ];
    this.#choices.replaceChildren(...parts.filter((each) => each instanceof Node));
  }

  #packageChoice(choice: Choice): HTMLElement {
    const select = el(
      "select",
      { id: "package" },
      el("option", { value: "" }, "all packages"),
      this.#store.schema.packages.map((each, index) => el("option", { value: index, selected: index === choice.package }, each.name)),
    );
    select.addEventListener("change", () => (location.hash = address("diagram", [], { package: select.value, all: choice.all ? 1 : undefined })));
    return el("label", {}, "Package ", select);
  }

  // A large diagram takes long to lay out, and few can read it: other ways in are offered first.
  #ask(diagram: Diagram, chosen: Set<number>): void {
    const degree = new Map<number, number>();
    for (const line of diagram.lines) for (const end of [line.from, line.to]) degree.set(Number(end.slice(1)), (degree.get(Number(end.slice(1))) ?? 0) + 1);
    const central = [...chosen].sort((a, b) => (degree.get(b) ?? 0) - (degree.get(a) ?? 0)).slice(0, 12);
    const button = el("button", { type: "button", click: () => void this.#show(diagram) }, "Lay it out all the same");
    this.#status.replaceChildren(
      `That is a diagram of ${counted(chosen.size, "class", "classes")} and ${counted(diagram.lines.length, "line")}: it is hard to read, and laying it out may stop the page for a while. `,
      this.#store.schema.packages.length > 1 ? "A package of them may do, or the neighbours of one class: " : "The neighbours of one class may do: ",
      ...central.flatMap((each, i) => [i > 0 ? ", " : "", el("a", { href: address("diagram", [], { around: each }) }, el("bdi", {}, this.#store.schema.className(each)))]),
      ". ",
      button,
    );
    this.#listed = [...chosen].sort((a, b) => this.#store.schema.className(a).localeCompare(this.#store.schema.className(b)));
    this.#list();
  }

  // Instead of the diagram: its classes, each leading to its neighbours.
  #list(): void {
    const { schema } = this.#store;
    const wanted = this.#find.value.trim().toLowerCase();
    const found = this.#listed.filter((each) => schema.className(each).toLowerCase().includes(wanted));
    this.#found.textContent = wanted === "" ? "" : `${found.length} found`;
    const item = (each: number) => el("li", {}, el("a", { href: address("diagram", [], { around: each }) }, el("bdi", {}, schema.className(each))));
    this.#port.replaceChildren(growing(found, 1000, item, el("ul", { class: "class-list" })));
  }

  async #show(diagram: Diagram): Promise<void> {
    const asked = this.#asked;
    this.#status.replaceChildren(`Laying out ${counted(diagram.boxes.length, "box", "boxes")} and ${counted(diagram.lines.length, "line")}\u2026`);
    await new Promise((resolve) => requestAnimationFrame(() => setTimeout(resolve, 0))); // so that these words are seen
    if (asked !== this.#asked) return;
    const placed = await layout(diagram, measurer());
    if (asked !== this.#asked) return;
    this.#listed = [];
    this.#placed = placed;
    this.#drawing = drawDiagram(placed);
    this.#port.replaceChildren(this.#drawing);
    this.#status.replaceChildren(`${counted(diagram.boxes.length, "box", "boxes")}, ${counted(diagram.lines.length, "line")}`);
    this.#fit(zooms.readable);
    this.#highlight();
  }

  #scale(zoom: number, around?: { x: number; y: number }): void {
    if (!this.#placed || !this.#drawing) return;
    const port = this.#port;
    const { x, y } = around ?? { x: port.clientWidth / 2, y: port.clientHeight / 2 };
    const bounded = Math.max(zooms.least, Math.min(zooms.most, zoom));
    const factor = bounded / this.#zoom;
    const [left, top] = [(port.scrollLeft + x) * factor - x, (port.scrollTop + y) * factor - y];
    this.#zoom = bounded;
    this.#drawing.setAttribute("width", String(this.#placed.width * bounded));
    this.#drawing.setAttribute("height", String(this.#placed.height * bounded));
    port.scrollTo({ left, top, behavior: "instant" });
    this.#size.textContent = `${Math.round(bounded * 100)} %`;
  }

  #fit(least = zooms.least): void {
    if (!this.#placed) return;
    const { clientWidth, clientHeight } = this.#port;
    this.#scale(Math.max(least, Math.min(1, clientWidth / this.#placed.width, clientHeight / this.#placed.height)));
    this.#port.scrollTo({ left: 0, top: 0, behavior: "instant" });
  }

  #key(event: KeyboardEvent): void {
    if (event.ctrlKey || event.metaKey || event.altKey) return;
    const actions: Record<string, () => void> = {
      "+": () => this.#scale(this.#zoom * zooms.step),
      "=": () => this.#scale(this.#zoom * zooms.step),
      "-": () => this.#scale(this.#zoom / zooms.step),
      "0": () => this.#fit(),
    };
    const action = actions[event.key];
    if (!action) return;
    event.preventDefault();
    action();
  }

  #wheel(event: WheelEvent): void {
    if (!event.ctrlKey) return; // without it the diagram scrolls
    event.preventDefault();
    const frame = this.#port.getBoundingClientRect();
    this.#scale(this.#zoom * Math.exp(-event.deltaY / 300), { x: event.clientX - frame.left, y: event.clientY - frame.top });
  }

  #drag(event: PointerEvent): void {
    if (event.button !== 0 || event.pointerType === "touch" || (event.target as Element).closest("a")) return;
    const port = this.#port;
    const [x, y, left, top] = [event.clientX, event.clientY, port.scrollLeft, port.scrollTop];
    const move = (to: PointerEvent) => port.scrollTo({ left: left - (to.clientX - x), top: top - (to.clientY - y), behavior: "instant" });
    const stop = () => {
      port.removeEventListener("pointermove", move);
      port.classList.remove("dragged");
    };
    port.setPointerCapture(event.pointerId);
    port.classList.add("dragged");
    port.addEventListener("pointermove", move);
    port.addEventListener("pointerup", stop, { once: true });
    port.addEventListener("pointercancel", stop, { once: true });
  }

  #matches(): Element[] {
    const wanted = this.#find.value.trim().toLowerCase();
    if (wanted === "" || !this.#placed || !this.#drawing) return [];
    const ids = new Set(this.#placed.boxes.filter((box) => box.title.toLowerCase().includes(wanted)).map((box) => box.id));
    return [...this.#drawing.querySelectorAll("[data-box]")].filter((box) => ids.has(box.getAttribute("data-box")!));
  }

  #highlight(): void {
    const matches = this.#matches();
    if (this.#listed.length > 0) return this.#list();
    this.#drawing?.querySelectorAll(".found").forEach((each) => each.classList.remove("found"));
    matches.forEach((each) => each.classList.add("found"));
    this.#found.textContent = this.#find.value.trim() === "" ? "" : this.#match >= 0 ? `${this.#match + 1} of ${matches.length}` : `${matches.length} found`;
  }

  #next(event: Event): void {
    event.preventDefault();
    const matches = this.#matches();
    if (matches.length === 0) return;
    this.#match = (this.#match + 1) % matches.length;
    if (this.#zoom < 0.6) this.#scale(1);
    const [port, box] = [this.#port.getBoundingClientRect(), matches[this.#match].getBoundingClientRect()];
    this.#port.scrollBy({ left: box.left + box.width / 2 - port.left - port.width / 2, top: box.top + box.height / 2 - port.top - port.height / 2, behavior: "instant" });
    this.#highlight();
  }

  placed(): void {
    this.update(this.#route);
  }

  gone(): void {
    ++this.#asked;
  }
}

export function diagramView(store: Store, route: Route): View {
  const view = new DiagramView(store, route);
  return { title: "Classes", node: view.node, update: (to) => view.update(to), placed: () => view.placed(), gone: () => view.gone() };
}
