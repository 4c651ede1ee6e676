// Reads an MCAP file with its index and as a stream, all check sums included, and prints what is in it as one
// JSON object.

import { open, readFile } from "node:fs/promises";
import { McapIndexedReader, McapStreamReader } from "@mcap/core";

const path = process.argv[2];
const file = await open(path, "r");
const readable = {
  size: async () => BigInt((await file.stat()).size),
  read: async (offset, length) => {
    const bytes = new Uint8Array(Number(length));
    await file.read(bytes, 0, Number(length), Number(offset));
    return bytes;
  },
};
const plain = (key, value) =>
  typeof value === "bigint" ? value.toString() : value instanceof Map ? Object.fromEntries(value) : value;

const reader = await McapIndexedReader.Initialize({ readable });
const messages = [];
for await (const message of reader.readMessages()) {
  messages.push([message.channelId, message.sequence, message.logTime, message.publishTime,
    Buffer.from(message.data).toString("hex")]);
}
const metadata = [];
for await (const each of reader.readMetadata()) {
  metadata.push(each);
}

const stream = new McapStreamReader({ validateCrcs: true });
stream.append(await readFile(path));
const counts = {};
for (let record; (record = stream.nextRecord()) !== undefined; ) {
  counts[record.type] = (counts[record.type] ?? 0) + 1;
}
if (!stream.done()) {
  throw new Error("the stream does not end with the footer and the magic");
}
await file.close();

console.log(JSON.stringify({
  header: reader.header,
  channels: [...reader.channelsById.values()],
  schemas: [...reader.schemasById.values()].map((schema) => ({
    ...schema, data: Buffer.from(schema.data).toString("utf8"),
  })),
  statistics: reader.statistics,
  chunks: reader.chunkIndexes.length,
  footer: reader.footer,
  metadata,
  messages,
  counts,
}, plain));
