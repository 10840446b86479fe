// Reads what the page holds and shows the view that the address names.
import type { ReportData } from "./contract";
import { takeJson } from "./decode";
import { el } from "./dom";
import { address, parseRoute, type Route } from "./route";
import { Store } from "./store";
import type { MakeView, View } from "./view";
import { notThere } from "./parts";
import { bytesView } from "./views/bytes";
import { classView } from "./views/class";
import { diagramView } from "./views/diagram";
import { differencesView } from "./views/differences";
import { sizesView } from "./views/sizes";
import { summaryView } from "./views/summary";
import { treeView } from "./views/tree";
import { visible } from "./visible";

const views: Record<string, { make: MakeView; place: string }> = {
  summary: { make: summaryView, place: "summary" },
  diagram: { make: diagramView, place: "diagram" },
  class: { make: classView, place: "diagram" },
  sizes: { make: sizesView, place: "sizes" },
  tree: { make: treeView, place: "tree" },
  element: { make: treeView, place: "tree" },
  search: { make: treeView, place: "tree" },
  bytes: { make: bytesView, place: "bytes" },
  differences: { make: differencesView, place: "differences" },
};

class Frame {
  readonly #store: Store;
  readonly #links = new Map<string, HTMLAnchorElement>();
  readonly #main = el("main", { id: "main" });
  readonly #search = el("input", { type: "search", id: "search", name: "search", autocomplete: "off", spellcheck: "false", placeholder: "Search", "aria-label": "Search all texts" });
  readonly #title: string;
  #current: { make: MakeView; view: View } | null = null;

  constructor(store: Store) {
    this.#store = store;
    this.#title = store.documents.map((each) => visible(each.data.name)).join(" \u2192 ");
  }

  start(): void {
    const skip = el("a", { href: "#main", class: "skip", click: (event: Event) => this.#skip(event) }, "Skip to the content");
    const names = this.#store.documents.flatMap((each, i) => [i > 0 ? " \u2192 " : "", el("bdi", {}, each.data.name)]);
    const header = el("header", {}, el("div", { class: "names" }, names), this.#navigation(), this.#searchForm());
    document.body.prepend(skip, header, this.#main);
    addEventListener("hashchange", () => this.show(true));
    this.show(false);
  }

  #navigation(): HTMLElement {
    const add = (place: string, words: string, href: string) => {
      const link = el("a", { href }, words);
      this.#links.set(place, link);
      return link;
    };
    return el(
      "nav",
      { "aria-label": "Views" },
      add("summary", "Summary", address("summary")),
      add("diagram", "Classes", address("diagram")),
      add("sizes", "Sizes", address("sizes")),
      add("tree", "Elements", address("tree")),
      add("bytes", "Bytes", address("bytes", [0, 0])),
      this.#store.differences && add("differences", "Differences", address("differences")),
    );
  }

  #searchForm(): HTMLElement {
    const submit = (event: Event) => {
      event.preventDefault();
      const words = this.#search.value;
      location.hash = words === "" ? address("tree") : address("search", [words], { document: parseRoute(location.hash).options.get("document") ?? undefined });
    };
    return el("form", { role: "search", "aria-label": "Elements", submit }, this.#search);
  }

  #skip(event: Event): void {
    event.preventDefault();
    this.#main.querySelector<HTMLElement>("h1")?.focus();
  }

  show(navigated: boolean): void {
    const route = parseRoute(location.hash);
    const known = views[route.view];
    const place = known?.place ?? "";
    for (const [name, link] of this.#links) {
      if (name === place) link.setAttribute("aria-current", "page");
      else link.removeAttribute("aria-current");
    }
    this.#search.value = route.view === "search" ? (route.parts[0] ?? "") : (route.options.get("search") ?? "");
    if (!(this.#current && this.#current.make === known?.make && this.#current.view.update?.(route))) this.#replace(route, known?.make ?? null, navigated);
    document.title = `${this.#current?.view.title ?? "Not here"} \u2013 ${this.#title}`;
  }

  #replace(route: Route, make: MakeView | null, navigated: boolean): void {
    this.#current?.view.gone?.();
    const view = make ? make(this.#store, route) : { title: "Not here", node: notThere("There is no such view.") };
    this.#current = make ? { make, view } : null;
    this.#main.replaceChildren(view.node);
    scrollTo(0, 0);
    view.placed?.();
    if (navigated) this.#main.querySelector<HTMLElement>("h1")?.focus({ preventScroll: true });
  }
}

async function start(): Promise<void> {
  const tables = document.getElementById("static");
  const status = el("p", { role: "status" }, "Reading\u2026");
  tables?.before(status);
  try {
    const data = (await takeJson("kr0-data")) as ReportData;
    if (data.report !== 1) throw new Error(`the data has layout ${data.report}, and this page knows layout 1`);
    const frame = new Frame(new Store(data));
    status.remove();
    tables?.remove();
    frame.start();
    document.documentElement.dataset.ready = "yes";
  } catch (error) {
    status.className = "wrong";
    status.textContent = `What this page holds cannot be read: ${error instanceof Error ? error.message : String(error)}`;
  }
}

void start();
