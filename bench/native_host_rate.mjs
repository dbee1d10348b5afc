// Messages per second through `mailhost native-host` as the Thunderbird extension drives it:
// one host kept running, batches of raw messages (base64) in, verdicts out, one batch at a time.
//
//   node bench/native_host_rate.mjs MAILHOST PLUGIN PROFILE [BATCH] < list-of-message-files
//
// Prints one line: "<n> messages in <s> s, <rate> messages/s, batches of <b>; junk <j>, good
// <g>, unverified <u>, error <e>". The host's start and the plug-in's loading are not timed.
import { spawn } from "node:child_process";
import { readFileSync } from "node:fs";

const [mailhost, plugin, profile, batchText] = process.argv.slice(2);
const batchSize = Number(batchText ?? 100);
const files = readFileSync(0, "utf8").split("\n").filter(Boolean);

const host = spawn(mailhost, ["--profile", profile, "--plugin", plugin, "native-host"], {
  stdio: ["pipe", "pipe", "ignore"],
});
let buffered = Buffer.alloc(0);
const waiting = [];
host.stdout.on("data", (chunk) => {
  buffered = Buffer.concat([buffered, chunk]);
  while (buffered.length >= 4 && buffered.length >= 4 + buffered.readUInt32LE(0)) {
    const length = buffered.readUInt32LE(0);
    waiting.shift()(JSON.parse(buffered.subarray(4, 4 + length)));
    buffered = buffered.subarray(4 + length);
  }
});
function ask(request) {
  const body = Buffer.from(JSON.stringify(request));
  const header = Buffer.alloc(4);
  header.writeUInt32LE(body.length);
  host.stdin.write(Buffer.concat([header, body]));
  return new Promise((resolve) => waiting.push(resolve));
}

await ask({ type: "state" });
const counts = { junk: 0, good: 0, unverified: 0, error: 0 };
const start = process.hrtime.bigint();
for (let first = 0; first < files.length; first += batchSize) {
  const messages = files.slice(first, first + batchSize).map((file, i) => ({
    id: first + i,
    raw: readFileSync(file).toString("base64"),
  }));
  const answer = await ask({ type: "classify", messages });
  for (const result of answer.results ?? []) counts[result.verdict] = (counts[result.verdict] ?? 0) + 1;
}
const seconds = Number(process.hrtime.bigint() - start) / 1e9;
host.stdin.end();
console.log(
  `${files.length} messages in ${seconds.toFixed(3)} s, ${(files.length / seconds).toFixed(1)} ` +
    `messages/s, batches of ${batchSize}; junk ${counts.junk}, good ${counts.good}, ` +
    `unverified ${counts.unverified}, error ${counts.error}`,
);
