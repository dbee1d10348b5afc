import assert from "node:assert/strict";
import { test } from "node:test";

import { encodedSize, makeBatches } from "../lib/batching.js";

const ids = (batches) => batches.map((batch) => batch.map((m) => m.id));

test("batches keep to the message count and the encoded size", () => {
  const limits = { maxMessages: 3, maxBytes: encodedSize(300) };
  const cases = [
    { name: "empty", sizes: [], batches: [], tooLarge: [] },
    { name: "count", sizes: [1, 1, 1, 1, 1, 1, 1], batches: [[0, 1, 2], [3, 4, 5], [6]], tooLarge: [] },
    { name: "bytes", sizes: [150, 150, 3, 290], batches: [[0, 1], [2, 3]], tooLarge: [] },
    { name: "exactly full", sizes: [300, 300], batches: [[0], [1]], tooLarge: [] },
    { name: "too large alone", sizes: [10, 301, 10], batches: [[0, 2]], tooLarge: [1] },
  ];
  for (const c of cases) {
    const messages = c.sizes.map((size, id) => ({ id, size }));
    const result = makeBatches(messages, limits);
    assert.deepEqual(ids(result.batches), c.batches, c.name);
    assert.deepEqual(result.tooLarge.map((m) => m.id), c.tooLarge, c.name);
    for (const batch of result.batches)
      assert.ok(batch.reduce((sum, m) => sum + encodedSize(m.size), 0) <= limits.maxBytes, c.name);
  }
});
