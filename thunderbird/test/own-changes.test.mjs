import assert from "node:assert/strict";
import { test } from "node:test";

import { OwnChanges, trainingFor } from "../lib/own-changes.js";

test("the extension's own junk flags are not trained back; the user's are", () => {
  const own = new OwnChanges();
  own.expect(1, true);
  own.expect(2, false);
  // Thunderbird reports our two changes, then the user undoes the first.
  assert.equal(trainingFor({ id: 1 }, { junk: true }, own), null);
  assert.equal(trainingFor({ id: 2 }, { junk: false }, own), null);
  assert.deepEqual(trainingFor({ id: 1 }, { junk: false }, own), { id: 1, as: "good" });
  assert.deepEqual(trainingFor({ id: 1 }, { junk: true }, own), { id: 1, as: "junk" });
  assert.equal(own.size, 0);
});

test("a change that is not the one expected is the user's", () => {
  const own = new OwnChanges();
  own.expect(5, true);
  assert.deepEqual(trainingFor({ id: 5 }, { junk: false }, own), { id: 5, as: "good" });
  own.forget(5); // setting the flag failed
  assert.deepEqual(trainingFor({ id: 5 }, { junk: true }, own), { id: 5, as: "junk" });
});

test("changes of other properties are no training", () => {
  const own = new OwnChanges();
  for (const changed of [{ read: true }, { flagged: false }, {}, undefined, { junk: "yes" }])
    assert.equal(trainingFor({ id: 3 }, changed, own), null);
});
