// What the two stand-ins for agents show: a conversation and its editor, which is a real ProseMirror. It tells its server of
// every key, every text and everything that is submitted, and does what the server orders.
import { baseKeymap, splitBlock } from "prosemirror-commands";
import { history } from "prosemirror-history";
import { keymap } from "prosemirror-keymap";
import { Schema } from "prosemirror-model";
import { EditorState, Plugin } from "prosemirror-state";
import { Decoration, DecorationSet, EditorView } from "prosemirror-view";

const sendAppears = 30, sendEnables = 90, replyEnds = 800; // Milliseconds.

const given = window.given; // {app, conversation, conversations: {id: {messages}}}
const isClaude = given.app === "claude";
let conversation = given.conversation;
let view, composer, sendButton, replyUntil = 0, timers = [];

// Telling

const untold = [];
let isTelling = false;

async function tell(what, more = {}) {
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

// Drawing

function make(parent, tag, attributes = {}, text = "") {
  const made = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) made.setAttribute(name, value);
  if (text) made.append(text);
  parent.append(made);
  return made;
}

// The browser leaves a plain division out of the accessibility tree unless text or controls stand directly in it.
const group = { role: "group" };

function below(parent, count) {
  for (; count > 0; --count) parent = make(parent, "div", group);
  return parent;
}

function later(delay, action) {
  timers.push(setTimeout(action, delay));
}

function draw() {
  timers.forEach(clearTimeout);
  timers = [];
  view?.destroy();
  view = sendButton = undefined;
  document.body.replaceChildren();
  document.title = isClaude ? "Claude" : "Codex";
  const sidebar = make(document.body, "div", { role: "group", "aria-label": "Conversations" });
  for (const id of Object.keys(given.conversations)) make(sidebar, "button", {}, `Conversation ${id.slice(-4)}`);
  const messages = make(document.body, "div", { class: "messages" });
  for (let i = 1; i <= given.conversations[conversation].messages; ++i)
    make(make(messages, "div", group), "p", {}, `Message ${i}`);
  if (isClaude) drawClaudeComposer();
  else drawCodexComposer();
  showSend();
  view.focus();
  tell("shown", { conversation });
}

// Five groups stand around the editor; the outermost holds the buttons too.
function drawClaudeComposer() {
  composer = below(document.body, 2);
  drawEditor(below(composer, 4), { "aria-label": "Prompt" }, "Reply to Claude");
  const toolbar = make(composer, "div");
  make(toolbar, "button", { "aria-label": "Add files" }, "+");
  make(toolbar, "button", { "aria-haspopup": "menu" }, "Model");
}

function drawCodexComposer() {
  composer = make(document.body, "div", { class: "_composer_1x flex", ...group });
  drawEditor(composer, { class: "tiptap" }, "Ask Codex");
  make(composer, "button", { "aria-label": "Add files and more" }, "+");
  sendButton = make(composer, "button", { "aria-label": "Send" }, "↑");
}

// The editor

const schema = new Schema({
  nodes: {
    doc: { content: "paragraph+" },
    paragraph: { content: "text*", parseDOM: [{ tag: "p" }], toDOM: () => ["p", 0] },
    text: {},
  },
});

function textOf(doc) {
  return doc.textBetween(0, doc.content.size, "\n");
}

function documentOf(text) {
  const paragraph = (line) => schema.node("paragraph", null, line ? [schema.text(line)] : []);
  return schema.node("doc", null, text.split("\n").map(paragraph));
}

function hint(words) {
  const decorations = ({ doc }) => {
    if (doc.childCount > 1 || doc.firstChild.content.size > 0) return null;
    const where = { class: "is-empty", "data-placeholder": words };
    return DecorationSet.create(doc, [Decoration.node(0, doc.firstChild.nodeSize, where)]);
  };
  return new Plugin({ props: { decorations } });
}

const draftKey = () => `draft ${conversation}`;

function drawEditor(parent, attributes, words) {
  const submitting = keymap({ Enter: submit, "Mod-Enter": submit, "Shift-Enter": splitBlock });
  view = new EditorView(parent, {
    state: EditorState.create({
      doc: documentOf(localStorage.getItem(draftKey()) ?? ""),
      plugins: [submitting, keymap(baseKeymap), history(), hint(words)],
    }),
    attributes: { role: "textbox", "aria-multiline": "true", ...attributes },
    dispatchTransaction(transaction) {
      view.updateState(view.state.apply(transaction));
      if (!transaction.docChanged) return;
      const text = textOf(view.state.doc);
      localStorage.setItem(draftKey(), text);
      tell("text", { text });
      showSend();
    },
    handlePaste(_, event) {
      tell("pasted", { types: [...event.clipboardData.types] });
      return false;
    },
  });
}

function submit() {
  const text = textOf(view.state.doc);
  const isReplying = Date.now() < replyUntil;
  if (text.trim() === "" || isReplying) return true;
  tell("sent", { conversation, text });
  view.dispatch(view.state.tr.replaceWith(0, view.state.doc.content.size, schema.node("paragraph")));
  if (isClaude) showReply();
  return true;
}

// Claude's Send is there only with a text, and takes a moment to be of use.
function showSend() {
  if (!isClaude) return;
  const isWanted = textOf(view.state.doc).trim() !== "" && Date.now() >= replyUntil;
  if (!isWanted) {
    sendButton?.remove();
    sendButton = undefined;
    return;
  }
  if (sendButton) return;
  sendButton = make(composer, "button", { "aria-label": "Send", hidden: "", disabled: "" }, "↑");
  const button = sendButton;
  button.addEventListener("click", () => {
    tell("pressed", { conversation });
    submit();
  });
  later(sendAppears, () => button.removeAttribute("hidden"));
  later(sendAppears + sendEnables, () => button.removeAttribute("disabled"));
}

function showReply() {
  replyUntil = Date.now() + replyEnds;
  const note = make(document.body, "p", {}, "Claude is responding");
  const stop = make(composer, "button", { "aria-label": "Stop" }, "■");
  later(replyEnds, () => {
    note.remove();
    stop.remove();
    showSend();
  });
}

// Codex's link

function copyLink() {
  const link = `codex://threads/${conversation}`;
  navigator.clipboard.writeText(link).then(
    () => tell("copied", { link }),
    (failure) => tell("notCopied", { why: String(failure) }),
  );
}

if (!isClaude)
  addEventListener("keydown", (event) => {
    if (!(event.ctrlKey && event.altKey && event.code === "KeyL")) return;
    event.preventDefault();
    copyLink();
  });

// Orders

const orders = {
  show(id) {
    conversation = id;
    window.history.pushState(null, "", isClaude ? `/epitaxy/${id}` : `/${id}`);
    draw();
  },
  reload: () => location.reload(),
  draft: (text) => view.dispatch(view.state.tr.replaceWith(0, view.state.doc.content.size, documentOf(text).content)),
};
new EventSource(`/orders/${given.app}`).onmessage = ({ data }) => {
  const { order, value } = JSON.parse(data);
  orders[order](value);
};

draw();
