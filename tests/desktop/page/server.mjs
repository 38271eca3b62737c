// Serves the pages of the stand-ins for agents and for ChatGPT over HTTPS on this machine alone. What a page tells becomes a line
// in `told`; what stands in `orders` goes to the pages, a line at a time; what is submitted in Claude's goes into its transcript;
// a file that is uploaded is kept in `uploads`, under its number.
//   node server.mjs FOLDER BUNDLES
// FOLDER holds `given.json`: {claude: {conversations: {ID: {messages, session, transcript, directory}}}, codex: {...}}; BUNDLES
// holds the scripts of the pages.
import { execFileSync } from "node:child_process";
import { randomUUID } from "node:crypto";
import { appendFileSync, existsSync, mkdirSync, readFileSync, renameSync, writeFileSync } from "node:fs";
import { createServer } from "node:https";

const received = 250, answered = 800; // Milliseconds behind a message.

const [folder, bundles] = process.argv.slice(2);
const given = JSON.parse(readFileSync(`${folder}/given.json`));
const listeners = { claude: new Set(), codex: new Set(), chatgpt: new Set() };
const apps = { "claude.ai": "claude", "codex.test": "codex", "chatgpt.com": "chatgpt" };

// Transcripts, written as Claude Code writes them.

function append(conversation, record) {
  const lines = readFileSync(conversation.transcript, "utf8").trimEnd().split("\n").map((line) => JSON.parse(line));
  const parent = lines.findLast((line) => line.uuid)?.uuid ?? null;
  const link = { parentUuid: parent, isSidechain: false, ...record, uuid: randomUUID(), timestamp: new Date().toISOString() };
  const where = { userType: "external", entrypoint: "cli", cwd: conversation.directory, sessionId: conversation.session };
  appendFileSync(conversation.transcript, JSON.stringify({ ...link, ...where, version: "2.1.329", gitBranch: "main" }) + "\n");
}

function receive(conversation, text) {
  setTimeout(() => append(conversation, { type: "user", message: { role: "user", content: text } }), received);
  setTimeout(() => {
    const message = { id: `msg_${randomUUID()}`, type: "message", role: "assistant", model: "claude-opus-5-5",
      content: [{ type: "text", text: "As you wish." }], stop_reason: "end_turn", stop_sequence: null,
      usage: { input_tokens: 1200, output_tokens: 340 } };
    append(conversation, { type: "assistant", message });
  }, answered);
}

function take(told) {
  appendFileSync(`${folder}/told`, JSON.stringify(told) + "\n");
  if (told.app === "claude" && told.what === "sent") receive(given.claude.conversations[told.conversation], told.text);
}

// Pages

const styles = `.ProseMirror, .question { white-space: pre-wrap } .ProseMirror { min-height: 3em }
.is-empty::before { content: attr(data-placeholder); float: left; height: 0 }`;

function page(app, path) {
  const shown = app === "chatgpt" ? { app } : agentsPage(app, path.split("/").at(-1));
  if (!shown) return null;
  const script = app === "chatgpt" ? "chatgpt.js" : "page.js";
  return `<!doctype html><meta charset=utf-8><title>${app}</title><style>${styles}</style>
<body><script>window.given = ${JSON.stringify(shown)}</script><script src=/${script}></script>`;
}

function agentsPage(app, conversation) {
  const conversations = given[app].conversations;
  return conversation in conversations ? { app, conversation, conversations } : null;
}

let uploads = 0;

function keep(name, bytes) {
  mkdirSync(`${folder}/uploads`, { recursive: true });
  const path = `${folder}/uploads/${++uploads}`;
  writeFileSync(path, bytes);
  take({ app: "chatgpt", what: "uploaded", at: Date.now(), name, path });
}

function receivePosted(url, request, response) {
  const parts = [];
  request.on("data", (data) => parts.push(data));
  request.on("end", () => {
    const body = Buffer.concat(parts);
    if (url.pathname === "/upload") keep(url.searchParams.get("name"), body);
    else JSON.parse(body).forEach(take);
    response.end();
  });
}

function answer(request, response) {
  const url = new URL(request.url, "https://localhost"), app = apps[request.headers.host.split(":")[0]];
  if (request.method === "POST") return receivePosted(url, request, response);
  if (url.pathname.startsWith("/orders/")) {
    response.writeHead(200, { "Content-Type": "text/event-stream", "Cache-Control": "no-store" });
    response.write(":\n\n");
    listeners[app].add(response);
    request.on("close", () => listeners[app].delete(response));
    return;
  }
  const isScript = url.pathname.endsWith(".js");
  const text = isScript ? readFileSync(`${bundles}${url.pathname}`) : page(app, url.pathname);
  response.writeHead(text ? 200 : 404, {
    "Content-Type": isScript ? "text/javascript" : "text/html",
    "Cache-Control": "no-store",
  });
  response.end(text ?? "");
}

// Each line of `orders` is {app, order, value}.
let ordersRead = 0;
setInterval(() => {
  if (!existsSync(`${folder}/orders`)) return;
  const lines = readFileSync(`${folder}/orders`, "utf8").split("\n").slice(0, -1);
  for (const line of lines.slice(ordersRead))
    for (const listener of listeners[JSON.parse(line).app]) listener.write(`data: ${line}\n\n`);
  ordersRead = lines.length;
}, 20);

const key = `${folder}/key.pem`, certificate = `${folder}/certificate.pem`;
execFileSync("openssl", ["req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-days", "2",
  "-subj", "/CN=claude.ai", "-keyout", key, "-out", certificate], { stdio: "ignore" });
const server = createServer({ key: readFileSync(key), cert: readFileSync(certificate) }, answer);
server.listen(0, "127.0.0.1", () => {
  writeFileSync(`${folder}/port.new`, String(server.address().port));
  renameSync(`${folder}/port.new`, `${folder}/port`);
});
