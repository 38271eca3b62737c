// Reads a transcript as Orvel does, with JSON.parse and crypto: node read_transcript.mjs AGENT FILE [OUTPUT]
// With OUTPUT it writes the messages there as JSON. Prints the number of messages, the digest of the last one and
// the seconds that it took.

import { createHash } from 'node:crypto';
import { readFileSync, writeFileSync } from 'node:fs';

const [agent, path, output] = process.argv.slice(2);
const start = performance.now();

const text = new TextDecoder('utf-8', { fatal: true }).decode(readFileSync(path));
let count = 0;
let last = '';
const messages = [];

function keep(id, role, content) {
    if (Array.isArray(content)) {
        content = content.filter((item) => item.type?.endsWith('text')).map((item) => item.text).join('\n');
    }
    if (typeof content !== 'string' || content.trim() === '') return;
    last = createHash('sha256').update(`${role}\n${content}`).digest('hex');
    count += 1;
    if (output) messages.push({ id: `${id}:${last}`, role, text: content });
}

function isScaffolding(payload) {
    const kinds = payload.internal_chat_message_metadata_passthrough?.content_item_kinds;
    return kinds?.[0] === 'agents_md.instructions';
}

for (const line of text.split('\n')) {
    if (line === '') continue;
    const record = JSON.parse(line);
    if (agent === 'codex') {
        const payload = record.payload;
        const isMessage = record.type === 'response_item' && payload.type === 'message';
        if (isMessage && ['user', 'assistant'].includes(payload.role) && !isScaffolding(payload)) {
            keep(payload.id, payload.role, payload.content);
        }
    } else if (['user', 'assistant'].includes(record.type)) {
        keep(record.uuid, record.type, record.message.content);
    }
}

if (output) writeFileSync(output, JSON.stringify({ messages }));
console.log(count, last, (performance.now() - start) / 1000);
