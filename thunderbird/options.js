import { describeState } from "./lib/state-text.js";

const reply = await browser.runtime.sendMessage({ type: "state" });
if (reply?.problem || !reply?.state) {
  const problem = document.getElementById("problem");
  problem.textContent = reply?.problem ?? "The extension's background page did not answer.";
  problem.hidden = false;
} else {
  const text = describeState(reply.state);
  for (const field of ["plugin", "quellbark", "learned", "session"])
    document.getElementById(field).textContent = text[field];
  document.getElementById("state").hidden = false;
}
