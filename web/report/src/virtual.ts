// Lists of any length: only the rows that can be seen are in the page. One row is the active one; the list keeps the
// focus and tells readers of the screen which row that is.
import { el, freshId } from "./dom";

export interface Rows {
  role: "tree" | "listbox" | "list";
  label: string;
  height: number;
  count: () => number;
  // The row; the list sets its id and place. For a tree or listbox it is one link or option, for a list it may hold links.
  row: (index: number, active: boolean) => HTMLElement;
  // Enter or a click on the active row.
  choose?: (index: number) => void;
  // The active row has become another one.
  moved?: (index: number) => void;
  // Further keys; true where the key was used.
  key?: (event: KeyboardEvent, index: number) => boolean;
}

const overscan = 10;

export class VirtualList {
  readonly element: HTMLElement;
  #space = el("div", { class: "space", role: "presentation" });
  #rows: Rows;
  #prefix = freshId();
  #active = 0;
  #first = 0;
  #last = 0;
  #frame = 0;
  #watch: ResizeObserver;

  constructor(rows: Rows) {
    this.#rows = rows;
    this.element = el("div", {
      class: "virtual",
      role: rows.role,
      tabindex: 0,
      "aria-label": rows.label,
      scroll: () => this.#later(),
      keydown: (event: KeyboardEvent) => this.#key(event),
      click: (event: MouseEvent) => this.#click(event),
    });
    this.element.append(this.#space);
    this.#watch = new ResizeObserver(() => this.#later());
    this.#watch.observe(this.element);
  }

  get active(): number {
    return this.#active;
  }

  stop(): void {
    this.#watch.disconnect();
    cancelAnimationFrame(this.#frame);
  }

  // Draws again what can be seen; needed when rows have changed.
  refresh(): void {
    this.#space.style.height = `${this.#rows.count() * this.#rows.height}px`;
    this.#active = Math.max(0, Math.min(this.#active, this.#rows.count() - 1));
    this.#draw();
  }

  activate(index: number, scroll: "nearest" | "center" = "nearest"): void {
    if (index < 0 || index >= this.#rows.count()) return;
    this.#active = index;
    this.#reveal(index, scroll);
    this.#draw();
    this.#rows.moved?.(index);
  }

  #reveal(index: number, how: "nearest" | "center"): void {
    const { height } = this.#rows;
    const top = index * height;
    const { scrollTop, clientHeight } = this.element;
    if (top >= scrollTop && top + height <= scrollTop + clientHeight) return;
    if (how === "center") this.element.scrollTop = top - (clientHeight - height) / 2;
    else this.element.scrollTop = top < scrollTop ? top : top + height - clientHeight;
  }

  #later(): void {
    cancelAnimationFrame(this.#frame);
    this.#frame = requestAnimationFrame(() => this.#draw());
  }

  #draw(): void {
    const { height, count, row, role } = this.#rows;
    this.#first = Math.max(0, Math.floor(this.element.scrollTop / height) - overscan);
    this.#last = Math.min(count(), Math.ceil((this.element.scrollTop + this.element.clientHeight) / height) + overscan);
    const kept = this.#focusedLink();
    const fragment = document.createDocumentFragment();
    for (let i = this.#first; i < this.#last; ++i) {
      const each = row(i, i === this.#active);
      each.id = `${this.#prefix}-${i}`;
      each.dataset.index = String(i);
      each.classList.add("row");
      if (i === this.#active) each.classList.add("active");
      each.style.top = `${i * height}px`;
      each.style.height = `${height}px`;
      if (role === "list") {
        each.setAttribute("aria-posinset", String(i + 1));
        each.setAttribute("aria-setsize", String(count()));
      }
      fragment.append(each);
    }
    this.#space.replaceChildren(fragment);
    this.#refocus(kept);
    if (role === "list") return;
    if (this.#active >= this.#first && this.#active < this.#last) this.element.setAttribute("aria-activedescendant", `${this.#prefix}-${this.#active}`);
    else this.element.removeAttribute("aria-activedescendant");
  }

  // A link in a row that has the focus loses it when rows are drawn again.
  #focusedLink(): { row: string; link: number } | null {
    const focused = document.activeElement;
    const row = focused?.closest<HTMLElement>(".row");
    if (!focused || !row || !this.#space.contains(row)) return null;
    return { row: row.id, link: [...row.querySelectorAll("a, button")].indexOf(focused) };
  }

  #refocus(kept: { row: string; link: number } | null): void {
    if (!kept) return;
    const row = document.getElementById(kept.row);
    const link = row?.querySelectorAll<HTMLElement>("a, button")[kept.link];
    (link ?? this.element).focus({ preventScroll: true });
  }

  #key(event: KeyboardEvent): void {
    if (event.target !== this.element || event.ctrlKey || event.metaKey || event.altKey) return;
    if (this.#rows.role === "list") return; // its links take keys, and the list scrolls by itself
    if (this.#rows.key?.(event, this.#active)) {
      event.preventDefault();
      return;
    }
    const page = Math.max(1, Math.floor(this.element.clientHeight / this.#rows.height) - 1);
    const last = this.#rows.count() - 1;
    const steps: Record<string, number> = {
      ArrowDown: this.#active + 1,
      ArrowUp: this.#active - 1,
      PageDown: this.#active + page,
      PageUp: this.#active - page,
      Home: 0,
      End: last,
    };
    if (event.key in steps) this.activate(Math.max(0, Math.min(last, steps[event.key])));
    else if (event.key === "Enter") this.#rows.choose?.(this.#active);
    else return;
    event.preventDefault();
  }

  #click(event: MouseEvent): void {
    const row = (event.target as Element).closest<HTMLElement>(".row");
    if (!row || this.#rows.role === "list") return;
    if (event.button !== 0 || event.ctrlKey || event.metaKey || event.shiftKey) return; // the browser opens the link elsewhere
    event.preventDefault();
    const index = Number(row.dataset.index);
    this.activate(index);
    this.#rows.choose?.(index);
    this.element.focus({ preventScroll: true });
  }
}
