// What the pages share: how they tell their server what happens and hear its orders, and the texts of their editors.
import { Schema } from "prosemirror-model";
import { Plugin } from "prosemirror-state";
import { Decoration, DecorationSet } from "prosemirror-view";

export const given = window.given;

// Telling

const untold = [];
let isTelling = false;

export async function tell(what, more = {}) {
  untold.push({ app: given.app, what, at: performance.timeOrigin + performance.now(), ...more });
  if (isTelling) return;
  isTelling = true;
  while (untold.length > 0) {
    const body = JSON.stringify(untold.splice(0));
    await fetch("/told", { method: "POST", body, keepalive: true }).catch(() => {});
  }
  isTelling = false;
}

for (const type of ["keydown", "keyup"])
  addEventListener(type, (event) => tell(type, { key: event.key, code: event.code, isRepeat: event.repeat }), true);

// Calls the order's function when the server sends one.
export function obey(orders) {
  new EventSource(`/orders/${given.app}`).onmessage = ({ data }) => {
    const { order, value } = JSON.parse(data);
    orders[order](value);
  };
}

// Drawing

export function make(parent, tag, attributes = {}, text = "") {
  const made = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) made.setAttribute(name, value);
  if (text) made.append(text);
  parent.append(made);
  return made;
}

// The browser leaves a plain division out of the accessibility tree unless text or controls stand directly in it.
export const group = { role: "group" };

// Texts

export const schema = new Schema({
  nodes: {
    doc: { content: "paragraph+" },
    paragraph: { content: "text*", parseDOM: [{ tag: "p" }], toDOM: () => ["p", 0] },
    text: {},
  },
});

export function textOf(doc) {
  return doc.textBetween(0, doc.content.size, "\n");
}

export function documentOf(text) {
  const paragraph = (line) => schema.node("paragraph", null, line ? [schema.text(line)] : []);
  return schema.node("doc", null, text.split("\n").map(paragraph));
}

export function hint(words) {
  const decorations = ({ doc }) => {
    if (doc.childCount > 1 || doc.firstChild.content.size > 0) return null;
    const where = { class: "is-empty", "data-placeholder": words };
    return DecorationSet.create(doc, [Decoration.node(0, doc.firstChild.nodeSize, where)]);
  };
  return new Plugin({ props: { decorations } });
}
