import { bytesToBase64 } from "./lib/base64.js";
import { DEFAULT_LIMITS, makeBatches } from "./lib/batching.js";
import { NATIVE_HOST_NAME, NativeClient, nativeHostHelp } from "./lib/native-client.js";
import { OwnChanges, trainingFor } from "./lib/own-changes.js";

const client = new NativeClient(() => browser.runtime.connectNative(NATIVE_HOST_NAME));
const ownChanges = new OwnChanges();
const MENU_ID = "quellbark-classify-folder";

async function rawBase64(messageId) {
  const file = await browser.messages.getRaw(messageId, { data_format: "File" });
  return bytesToBase64(new Uint8Array(await file.arrayBuffer()));
}

async function* pagesOf(list) {
  let page = await list;
  for (;;) {
    yield page.messages;
    if (!page.id) return;
    page = await browser.messages.continueList(page.id);
  }
}

// Sets each verified verdict as the message's junk flag and moves junk where the account's
// junk settings say. An unverified verdict changes nothing: Quellbark was not heard.
async function applyVerdicts(results, headers) {
  const confirmed = [];
  const junkByAccount = new Map();
  for (const result of results) {
    const header = headers.get(result.id);
    if (!header) continue;
    if (result.verdict !== "junk" && result.verdict !== "good") {
      console.warn(`Quellbark: message ${result.id} left as it is: ${result.verdict}`,
                   result.error ?? "");
      continue;
    }
    const junk = result.verdict === "junk";
    if (header.junk !== junk) {
      ownChanges.expect(header.id, junk);
      try {
        await browser.messages.update(header.id, { junk });
      } catch (error) {
        ownChanges.forget(header.id);
        console.error(`Quellbark: cannot set the junk flag of message ${header.id}`, error);
        continue;
      }
    }
    const entry = { id: header.id, junk, moved: false };
    confirmed.push(entry);
    if (junk) {
      const account = header.folder?.accountId;
      if (!junkByAccount.has(account)) junkByAccount.set(account, []);
      junkByAccount.get(account).push({ header, entry });
    }
  }
  for (const [accountId, items] of junkByAccount) {
    if (!accountId) continue;
    const target = await browser.junkSettings.getMoveTarget(accountId);
    if (!target.move || !target.folderId) continue;
    const toMove = items.filter(({ header }) => header.folder?.id !== target.folderId);
    if (toMove.length === 0) continue;
    try {
      await browser.messages.move(toMove.map(({ header }) => header.id), target.folderId);
      for (const { entry } of toMove) entry.moved = true;
    } catch (error) {
      console.error("Quellbark: cannot move junk to the Junk folder", error);
    }
  }
  if (confirmed.length > 0) await client.request({ type: "confirm", messages: confirmed });
}

async function classify(headerList) {
  const headers = new Map(headerList.map((header) => [header.id, header]));
  const { batches, tooLarge } = makeBatches(headerList, DEFAULT_LIMITS);
  for (const header of tooLarge)
    console.warn(`Quellbark: message ${header.id} is too large to classify (${header.size} bytes)`);
  for (const batch of batches) {
    const messages = [];
    for (const header of batch) {
      try {
        messages.push({ id: header.id, raw: await rawBase64(header.id) });
      } catch (error) {
        console.error(`Quellbark: cannot read message ${header.id}`, error);
      }
    }
    if (messages.length === 0) continue;
    const answer = await client.request({ type: "classify", messages });
    await applyVerdicts(answer.results, headers);
  }
}

// Messages are classified one folder at a time, in the order they arrive.
let queue = Promise.resolve();
function enqueue(work) {
  queue = queue.then(work).catch((error) => console.error("Quellbark:", error.message ?? error));
  return queue;
}

browser.messages.onNewMailReceived.addListener((folder, messageList) => {
  enqueue(async () => {
    for await (const page of pagesOf(messageList)) await classify(page);
  });
});

browser.menus.create({
  id: MENU_ID,
  title: "Classify with Quellbark",
  contexts: ["folder_pane"],
});

browser.menus.onClicked.addListener((info) => {
  if (info.menuItemId !== MENU_ID) return;
  const folders = info.selectedFolders ?? (info.selectedFolder ? [info.selectedFolder] : []);
  for (const folder of folders)
    enqueue(async () => {
      for await (const page of pagesOf(browser.messages.list(folder.id))) await classify(page);
    });
});

browser.messages.onUpdated.addListener((message, changedProperties) => {
  const training = trainingFor(message, changedProperties, ownChanges);
  if (!training) return;
  enqueue(async () => {
    const raw = await rawBase64(training.id);
    const answer = await client.request({
      type: "train",
      message: { id: training.id, raw },
      as: training.as,
    });
    if (!answer.trained)
      console.warn(`Quellbark did not learn message ${training.id}:`, answer.error ?? "");
  });
});

// The options page asks for the native host's state through here, so that one port serves all.
browser.runtime.onMessage.addListener(async (request) => {
  if (request?.type !== "state") return undefined;
  try {
    return { state: await client.request({ type: "state" }) };
  } catch (error) {
    return { problem: nativeHostHelp(error.message) };
  }
});
