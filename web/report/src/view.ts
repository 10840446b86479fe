// What a view is made from and what it gives.
import type { Route } from "./route";
import type { Store } from "./store";

export interface View {
  title: string;
  node: HTMLElement;
  // Shows another address of the same view in place; false where the view must be made anew.
  update?: (route: Route) => boolean;
  // Called when the view stands in the page and has its size.
  placed?: () => void;
  // Called when the view has left the page.
  gone?: () => void;
}

export type MakeView = (store: Store, route: Route) => View;
