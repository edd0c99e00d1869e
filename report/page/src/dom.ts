// Makes elements. All text becomes text nodes: nothing that a device sent is ever interpreted as markup, an address or
// a style.

export type Child = Node | string | number | null | undefined | Child[];
export type Attributes = Record<string, string | number | boolean | undefined>;

/** Shows characters that change how others look, or that cannot be seen, as \u{…}. */
export function visible(text: string): string {
  if (/^[ -~]*$/.test(text)) { // most texts need no change
    return text;
  }
  return text.replace(/[^\P{C}\n]|[\u2028\u2029]/gu, (character) => `\\u{${character.codePointAt(0)?.toString(16) ?? ""}}`);
}

function append(parent: Node, child: Child): void {
  if (Array.isArray(child)) {
    for (const each of child) {
      append(parent, each);
    }
  } else if (child instanceof Node) {
    parent.appendChild(child);
  } else if (child !== null && child !== undefined) {
    parent.appendChild(document.createTextNode(visible(String(child))));
  }
}

function fill(element: Element, attributes: Attributes, children: Child[]): void {
  for (const [name, value] of Object.entries(attributes)) {
    if (value !== undefined && value !== false) {
      element.setAttribute(name, value === true ? "" : visible(String(value)));
    }
  }
  append(element, children);
}

export function h<Tag extends keyof HTMLElementTagNameMap>(
  tag: Tag, attributes: Attributes = {}, ...children: Child[]
): HTMLElementTagNameMap[Tag] {
  const element = document.createElement(tag);
  fill(element, attributes, children);
  return element;
}

export function svg<Tag extends keyof SVGElementTagNameMap>(
  tag: Tag, attributes: Attributes = {}, ...children: Child[]
): SVGElementTagNameMap[Tag] {
  const element = document.createElementNS("http://www.w3.org/2000/svg", tag);
  fill(element, attributes, children);
  return element;
}

/** A section with a heading, which the navigation lists. */
export function section(id: string, title: string, ...children: Child[]): HTMLElement {
  return h("section", { id, "aria-labelledby": `${id}-title` }, h("h2", { id: `${id}-title` }, title), children);
}

export interface Column<Item> {
  title: string;
  of: (item: Item) => Child;
  number?: boolean;
}

/** A table that scrolls on its own if the page is narrow. */
export function table<Item>(label: string, columns: Column<Item>[], items: Item[],
                            attributes: (item: Item) => Attributes = () => ({})): HTMLElement {
  const cellClass = (column: Column<Item>) => (column.number === true ? { class: "number" } : {});
  return h("div", { class: "scroll", tabindex: 0, role: "region", "aria-label": label },
    h("table", {},
      h("thead", {}, h("tr", {}, columns.map((column) => h("th", { scope: "col", ...cellClass(column) }, column.title)))),
      h("tbody", {}, items.map((item) =>
        h("tr", attributes(item), columns.map((column) => h("td", cellClass(column), column.of(item))))))));
}

/** A list of terms and what they are. */
export function terms(rows: [string, Child][]): HTMLElement {
  return h("dl", {}, rows.map(([term, about]) => h("div", {}, h("dt", {}, term), h("dd", {}, about))));
}
