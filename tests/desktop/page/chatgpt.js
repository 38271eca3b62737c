// What the stand-in for ChatGPT shows: an editor, which is a real ProseMirror, with the controls around it and the files that
// were pasted into it, and the conversation that a message begins. It tells its server of everything that is pasted, uploaded,
// pressed and sent, and does what the server orders.
import { baseKeymap, splitBlock } from "prosemirror-commands";
import { history } from "prosemirror-history";
import { keymap } from "prosemirror-keymap";
import { EditorState } from "prosemirror-state";
import { EditorView } from "prosemirror-view";
import { documentOf, group, hint, make, obey, schema, tell, textOf } from "./shared.js";

const sendEnables = 90, newRoute = 300, messageShows = 450, replyEnds = 2000; // Milliseconds.

const habits = {
  uploading: 700, // Milliseconds from a pasted file to the end of its upload.
  isDoubled: false, // Attaches another file with each.
};
const conversations = new Map(); // Of this page: the messages by ID, each {text, files}.
let view, chips, toolbar, action, files = [], messages, isReplying = false;

function conversation() {
  return location.pathname.startsWith("/c/") ? location.pathname.slice(3) : "";
}

// Drawing

function draw() {
  view?.destroy();
  document.body.replaceChildren();
  document.title = "ChatGPT";
  files = [];
  action = undefined;
  isReplying = false;
  const main = make(document.body, "main");
  messages = make(main, "div", group);
  showMessages();
  const region = make(main, "div", group);
  chips = make(region, "div", group);
  drawEditor(make(make(region, "div", group), "div", group));
  toolbar = make(region, "div", group);
  make(toolbar, "button", { "aria-label": "Add files and more" }, "+");
  make(toolbar, "button", { "aria-label": "Select ChatGPT model", "aria-haspopup": "menu" }, "Pro");
  make(toolbar, "button", { "aria-label": "Dictate" }, "◦");
  showAction();
  view.focus();
  tell("text", { text: "" });
  tell("shown", { conversation: conversation() });
}

function drawEditor(parent) {
  const submitting = keymap({ Enter: submit, "Shift-Enter": splitBlock });
  view = new EditorView(parent, {
    state: EditorState.create({
      doc: documentOf(""),
      plugins: [submitting, keymap(baseKeymap), history(), hint("Ask ChatGPT")],
    }),
    attributes: { role: "textbox", "aria-multiline": "true", "aria-label": "Ask ChatGPT" },
    dispatchTransaction(transaction) {
      view.updateState(view.state.apply(transaction));
      if (!transaction.docChanged) return;
      tell("text", { text: textOf(view.state.doc) });
      showAction();
    },
    handlePaste(_, event) {
      const pasted = [...event.clipboardData.files];
      tell("pasted", { types: [...event.clipboardData.types], files: pasted.map(({ name }) => name) });
      for (const file of pasted) attach(file);
      return pasted.length > 0;
    },
  });
}

function setText(text) {
  view.dispatch(view.state.tr.replaceWith(0, view.state.doc.content.size, documentOf(text).content));
}

// Send where there is something to send, the button for voice where there is nothing, Stop during a reply.
function showAction() {
  const isWanted = files.length > 0 || textOf(view.state.doc).trim() !== "";
  const label = isReplying ? "Stop streaming" : isWanted ? "Send" : "Start Voice";
  if (action?.ariaLabel !== label) {
    action?.remove();
    action = make(toolbar, "button", { "aria-label": label }, "↑");
    if (label === "Send") {
      action.disabled = true;
      action.addEventListener("click", () => {
        tell("pressed", { conversation: conversation() });
        submit();
      });
    }
  }
  if (label !== "Send") return;
  const button = action;
  if (files.some(({ isUploading }) => isUploading)) button.disabled = true;
  else setTimeout(() => (button.disabled = files.some(({ isUploading }) => isUploading)), sendEnables);
}

// Files

async function attach(file) {
  const attached = [{ name: file.name, isUploading: true }];
  if (habits.isDoubled) attached.push({ name: `copy of ${file.name}`, isUploading: true });
  files.push(...attached);
  showFiles();
  const began = performance.now();
  await fetch(`/upload?name=${encodeURIComponent(file.name)}`, { method: "POST", body: file });
  setTimeout(() => {
    for (const each of attached) each.isUploading = false;
    showFiles();
  }, habits.uploading - (performance.now() - began));
}

function showFiles() {
  chips.replaceChildren();
  for (const file of files) {
    const chip = make(chips, "div", group);
    make(chip, "button", { "aria-label": file.name }, "▤");
    make(chip, "span", {}, file.name);
    if (file.isUploading) make(chip, "div", { role: "progressbar", "aria-label": "Uploading" });
    make(chip, "button", { "aria-label": `Remove ${file.name}` }, "×").addEventListener("click", () => {
      files = files.filter((each) => each !== file);
      showFiles();
    });
  }
  showAction();
}

// Messages

function submit() {
  const text = textOf(view.state.doc);
  if (isReplying || text.trim() === "" || files.some(({ isUploading }) => isUploading)) return true;
  const message = { text, files: files.map(({ name }) => name) };
  const isNew = conversation() === "", id = conversation() || crypto.randomUUID();
  tell("sent", { conversation: id, ...message });
  conversations.set(id, [...(conversations.get(id) ?? []), message]);
  isReplying = true;
  files = [];
  setText("");
  showFiles();
  if (isNew) setTimeout(() => window.history.pushState(null, "", `/c/${id}`), newRoute);
  setTimeout(showMessages, messageShows);
  setTimeout(() => {
    isReplying = false;
    showAction();
  }, replyEnds);
  return true;
}

function showMessages() {
  messages.replaceChildren();
  for (const { text, files } of conversations.get(conversation()) ?? []) {
    const shown = make(messages, "div", group);
    for (const name of files) make(shown, "button", {}, name);
    make(shown, "div", { class: "question" }, text);
  }
}

// Orders

obey({
  show(path) {
    window.history.pushState(null, "", path);
    draw();
  },
  habits: (changed) => Object.assign(habits, changed),
  draft: setText,
});

draw();
