// What the two stand-ins for agents show: a conversation and its editor, which is a real ProseMirror. It tells its server of
// every key, every text and everything that is submitted, and does what the server orders.
import { baseKeymap, splitBlock } from "prosemirror-commands";
import { history } from "prosemirror-history";
import { keymap } from "prosemirror-keymap";
import { EditorState } from "prosemirror-state";
import { EditorView } from "prosemirror-view";
import { documentOf, given, group, hint, make, obey, schema, tell, textOf } from "./shared.js";

const sendAppears = 30, sendEnables = 90, replyEnds = 800; // Milliseconds.

// given: {app, conversation, conversations: {id: {messages}}}
const isClaude = given.app === "claude";
let conversation = given.conversation;
let view, composer, sendButton, replyUntil = 0, timers = [];

// Drawing

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
obey(orders);
draw();
