// The junk flags this extension set itself. Thunderbird reports every change of a message's
// junk flag, ours included; only the user's own changes are training.
export class OwnChanges {
  #expected = new Map(); // message id -> the junk value we are about to set

  // Call before setting the flag; forget() if setting it fails.
  expect(messageId, junk) {
    this.#expected.set(messageId, junk);
  }

  forget(messageId) {
    this.#expected.delete(messageId);
  }

  // True when this change is the one we made (it is then no longer expected).
  isOwn(messageId, junk) {
    if (this.#expected.get(messageId) !== junk) return false;
    this.#expected.delete(messageId);
    return true;
  }

  get size() {
    return this.#expected.size;
  }
}

// What a change of a message's properties asks of the spam filter: null when nothing (not a
// junk change, or our own), else the training request's fields.
export function trainingFor(message, changedProperties, ownChanges) {
  if (!changedProperties || typeof changedProperties.junk !== "boolean") return null;
  if (ownChanges.isOwn(message.id, changedProperties.junk)) return null;
  return { id: message.id, as: changedProperties.junk ? "junk" : "good" };
}
