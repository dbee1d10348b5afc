// Splits the messages to classify into requests the native host takes: at most maxMessages
// per request and at most maxBytes of encoded message text, so that no request comes near the
// host's frame limit. A message too large for a request of its own is set apart, not sent.

export const DEFAULT_LIMITS = Object.freeze({
  maxMessages: 100,
  maxBytes: 48 * 1024 * 1024,
});

// The length of a message's base64 text, given its size in bytes.
export function encodedSize(size) {
  return Math.ceil(size / 3) * 4;
}

export function makeBatches(messages, limits = DEFAULT_LIMITS) {
  const batches = [];
  const tooLarge = [];
  let current = [];
  let bytes = 0;
  for (const message of messages) {
    const size = encodedSize(message.size ?? 0);
    if (size > limits.maxBytes) {
      tooLarge.push(message);
      continue;
    }
    if (current.length === limits.maxMessages || bytes + size > limits.maxBytes) {
      batches.push(current);
      current = [];
      bytes = 0;
    }
    current.push(message);
    bytes += size;
  }
  if (current.length > 0) batches.push(current);
  return { batches, tooLarge };
}
