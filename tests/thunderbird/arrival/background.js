// The helper extension of the Thunderbird test: it imports the spam, then the good message,
// into the Inbox as new mail (as delivered mail is); once the spam has been dealt with, it marks
// the good message junk as a user would.
const sleep = (ms) => new Promise((resolve) => setTimeout(resolve, ms));
async function findInbox() {
  for (const account of await browser.accounts.list(true)) {
    const stack = [account.rootFolder];
    while (stack.length) {
      const folder = stack.pop();
      if (folder.name === "Inbox") return folder;
      stack.push(...(folder.subFolders ?? []));
    }
  }
  throw new Error("no Inbox");
}
async function deliver(name, folder) {
  const blob = await (await fetch(browser.runtime.getURL(name))).blob();
  return browser.messages.import(new File([blob], name), folder.id, { new: true });
}
(async () => {
  for (let i = 0; i < 100; i++) {
    const other = await browser.management.get("junkfilter@quellbark.app").catch(() => null);
    if (other?.enabled) break;
    await sleep(100);
  }
  await sleep(2000); // its background page registers its listeners as it loads
  const inbox = await findInbox();
  const spam = await deliver("spam.eml", inbox);
  const ham = await deliver("ham.eml", inbox);
  console.log(`arrival: spam=${spam.id} ham=${ham.id}`);
  for (let i = 0; i < 600; i++) {
    const now = await browser.messages.get(spam.id).catch(() => null);
    if (!now || now.junk) break;
    await sleep(100);
  }
  await sleep(1000);
  await browser.messages.update(ham.id, { junk: true });
  console.log("arrival: marked");
})().catch((error) => console.log(`arrival: failed: ${error}`));
