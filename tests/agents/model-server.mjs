// A model server for the tests with the real agents: speaks as much of their models' protocols as they use, and does what
// the user's latest message asks for. It listens on loopback only and ends with the program that started it.
//
//   node model-server.mjs PORT-FILE
//
// Every message is answered with "Answer to: " and its first line. Words in it change that:
//   fail-the-turn   the request is refused
//   wait-for=PATH   the answer waits until a file lies at PATH
//   comment-first   what the agent says on the way comes before the answer (Codex)

import { existsSync, renameSync, writeFileSync } from "node:fs";
import { createServer } from "node:http";
import { randomUUID } from "node:crypto";

const lookInterval = 20; // Milliseconds.

function latestMessage(input) {
  const users = input.filter((item) => (item.type ?? "message") === "message" && item.role === "user");
  const content = users.at(-1)?.content ?? "";
  return typeof content === "string" ? content : content.map((part) => part.text ?? "").join("\n");
}

const pause = (milliseconds) => new Promise((done) => setTimeout(done, milliseconds));

async function fileAppears(path, response) {
  while (!existsSync(path) && !response.destroyed) await pause(lookInterval);
}

async function answer(request, response) {
  const message = latestMessage(request.input);
  if (message.includes("fail-the-turn")) {
    const error = { message: "The model server was asked to fail.", type: "invalid_request_error", code: "asked" };
    response.writeHead(400, { "content-type": "application/json" });
    response.end(JSON.stringify({ error }));
    return;
  }

  response.writeHead(200, { "content-type": "text/event-stream" });
  const tell = (type, fields) => response.write(`event: ${type}\ndata: ${JSON.stringify({ type, ...fields })}\n\n`);
  const head = { id: `resp_${randomUUID()}`, object: "response", model: request.model };
  const output = [];
  const say = (text, phase) => {
    const place = { output_index: output.length };
    const item = { type: "message", id: `msg_${randomUUID()}`, role: "assistant", phase };
    tell("response.output_item.added", { ...place, item: { ...item, status: "in_progress", content: [] } });
    tell("response.output_text.delta", { ...place, item_id: item.id, content_index: 0, delta: text });
    const whole = { ...item, status: "completed", content: [{ type: "output_text", text, annotations: [] }] };
    tell("response.output_item.done", { ...place, item: whole });
    output.push(whole);
  };

  tell("response.created", { response: { ...head, status: "in_progress" } });
  if (message.includes("comment-first")) say("On it.", "commentary");
  const path = /wait-for=(\S+)/.exec(message)?.[1];
  if (path) await fileAppears(path, response);
  say(`Answer to: ${message.split("\n")[0]}`, "final_answer");
  const usage = {
    input_tokens: 20,
    input_tokens_details: { cached_tokens: 0 },
    output_tokens: 5,
    output_tokens_details: { reasoning_tokens: 0 },
    total_tokens: 25,
  };
  tell("response.completed", { response: { ...head, status: "completed", output, usage } });
  response.end();
}

// What Claude Code asks: the user's own text without what it adds to it.
function latestText(messages) {
  const texts = messages
    .filter((message) => message.role === "user")
    .flatMap(({ content }) => (typeof content === "string" ? [content] : content.map((part) => part.text ?? "")))
    .filter((text) => text !== "" && !text.startsWith("<system-reminder>"));
  return texts.at(-1) ?? "";
}

async function answerClaude(request, response) {
  const message = latestText(request.messages);
  if (message.includes("fail-the-turn")) {
    const error = { type: "invalid_request_error", message: "The model server was asked to fail." };
    response.writeHead(400, { "content-type": "application/json" });
    response.end(JSON.stringify({ type: "error", error }));
    return;
  }
  const path = /wait-for=(\S+)/.exec(message)?.[1];
  if (path) await fileAppears(path, response);
  const text = `Answer to: ${message.split("\n")[0]}`;
  const usage = { input_tokens: 20, output_tokens: 5 };
  const head = { id: `msg_${randomUUID()}`, type: "message", role: "assistant", model: request.model };
  const end = { stop_reason: "end_turn", stop_sequence: null };
  if (!request.stream) {
    response.writeHead(200, { "content-type": "application/json" });
    response.end(JSON.stringify({ ...head, content: [{ type: "text", text }], ...end, usage }));
    return;
  }
  response.writeHead(200, { "content-type": "text/event-stream" });
  const tell = (type, fields) => response.write(`event: ${type}\ndata: ${JSON.stringify({ type, ...fields })}\n\n`);
  tell("message_start", { message: { ...head, content: [], stop_reason: null, stop_sequence: null, usage } });
  tell("content_block_start", { index: 0, content_block: { type: "text", text: "" } });
  tell("content_block_delta", { index: 0, delta: { type: "text_delta", text } });
  tell("content_block_stop", { index: 0 });
  tell("message_delta", { delta: end, usage });
  tell("message_stop", {});
  response.end();
}

const server = createServer(async (request, response) => {
  const pieces = [];
  for await (const piece of request) pieces.push(piece);
  if (request.method === "POST" && request.url.endsWith("/responses"))
    return answer(JSON.parse(Buffer.concat(pieces)), response);
  if (request.method === "POST" && /\/messages(\?|$)/.test(request.url))
    return answerClaude(JSON.parse(Buffer.concat(pieces)), response);
  response.writeHead(request.url.includes("/models") ? 200 : 404, { "content-type": "application/json" });
  response.end(JSON.stringify({ object: "list", data: [], models: [] }));
});

server.listen(0, "127.0.0.1", () => {
  const file = process.argv[2];
  writeFileSync(`${file}.new`, String(server.address().port));
  renameSync(`${file}.new`, file);
});
process.stdin.resume().on("end", () => process.exit(0));
