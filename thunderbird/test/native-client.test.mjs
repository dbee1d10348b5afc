// The extension's client against the real `mailhost native-host`, started here the way the
// mail client starts it, in a home of its own where no Quellbark is installed.
import assert from "node:assert/strict";
import { spawn } from "node:child_process";
import { mkdtempSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { after, test } from "node:test";

import { NativeClient, NativeHostError, nativeHostHelp } from "../lib/native-client.js";

const mailhost = process.env.MAILHOST;
const plugin = process.env.QUELLBARK_PLUGIN;
const home = mkdtempSync(join(tmpdir(), "native-client-"));
const hosts = [];
after(() => {
  for (const host of hosts) host.kill("SIGKILL");
  rmSync(home, { recursive: true, force: true });
});

// A native-messaging port over a child process, as the mail client provides one.
function connect() {
  const child = spawn(mailhost, ["--profile", join(home, "profile"), "--plugin", plugin,
                                 "native-host", "manifest.json", "ext@test"], {
    env: { PATH: process.env.PATH, HOME: home, XDG_RUNTIME_DIR: home, LS_SYSTEM_ROOT: home,
           XDG_DATA_HOME: join(home, "data") },
    stdio: ["pipe", "pipe", "ignore"],
  });
  hosts.push(child);
  child.stdin.on("error", () => {}); // a host that died: the exit below tells the client
  const messageListeners = [];
  const disconnectListeners = [];
  let buffered = Buffer.alloc(0);
  child.stdout.on("data", (chunk) => {
    buffered = Buffer.concat([buffered, chunk]);
    while (buffered.length >= 4 && buffered.length >= 4 + buffered.readUInt32LE(0)) {
      const length = buffered.readUInt32LE(0);
      const message = JSON.parse(buffered.subarray(4, 4 + length).toString("utf8"));
      buffered = buffered.subarray(4 + length);
      for (const listener of messageListeners) listener(message);
    }
  });
  child.on("exit", () => {
    for (const listener of disconnectListeners) listener({ error: { message: "native host ended" } });
  });
  return {
    child,
    postMessage(message) {
      const body = Buffer.from(JSON.stringify(message));
      const header = Buffer.alloc(4);
      header.writeUInt32LE(body.length);
      child.stdin.write(Buffer.concat([header, body]));
    },
    onMessage: { addListener: (listener) => messageListeners.push(listener) },
    onDisconnect: { addListener: (listener) => disconnectListeners.push(listener) },
  };
}

const message = (id) => ({
  id,
  raw: Buffer.from(`Subject: ${id}\r\n\r\nbody ${id}\r\n`).toString("base64"),
});

test("answers find their requests, errors reject, an ended host is started again", { skip: !mailhost }, async () => {
  const ports = [];
  const client = new NativeClient(() => {
    ports.push(connect());
    return ports.at(-1);
  });
  const [state, classified, refused] = await Promise.allSettled([
    client.request({ type: "state" }),
    client.request({ type: "classify", messages: [message(4), message(9)] }),
    client.request({ type: "nonsense" }),
  ]);
  assert.equal(state.value.plugin.loaded, true);
  assert.equal(state.value.quellbark.found, false);
  // Without Quellbark nothing is called good.
  assert.deepEqual(classified.value.results.map((r) => [r.id, r.verdict]),
                   [[4, "unverified"], [9, "unverified"]]);
  assert.ok(refused.reason instanceof NativeHostError);

  // A request over the host's frame limit is refused without an id (the host could not read
  // it): the refusal is the oldest request's, and the one behind it is answered as usual.
  const [big, next] = await Promise.allSettled([
    client.request({ type: "classify", messages: [{ id: 1, raw: "A".repeat(64 * 1024 * 1024) }] }),
    client.request({ type: "state" }),
  ]);
  assert.match(big.reason.message, /at most 64 MiB/);
  assert.equal(next.value.ok, true);

  // The host dies with a request on its way: the request fails, it is not left waiting.
  ports[0].child.kill("SIGKILL");
  const pending = client.request({ type: "classify", messages: [message(1)] });
  await assert.rejects(pending, /ended/);
  const again = await client.request({ type: "state" });
  assert.equal(again.ok, true);
  assert.equal(ports.length, 2, "a new host was started");
});

test("the help names the fix when the host is not installed", () => {
  assert.match(nativeHostHelp("No such native application com.quellbark.mailhost"),
               /make install.*native-messaging-hosts\/com\.quellbark\.mailhost\.json/);
  assert.match(nativeHostHelp("boom"), /failed: boom/);
});
