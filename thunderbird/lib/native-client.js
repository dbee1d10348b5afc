// Requests to the native host over one native-messaging port, opened when first needed and
// again after the host ended. The host answers in order, each answer carrying the request's id;
// an answer without an id (a frame the host could not read) belongs to the oldest request.

export const NATIVE_HOST_NAME = "com.quellbark.mailhost";

export class NativeHostError extends Error {}

export class NativeClient {
  #connect;
  #port = null;
  #nextId = 1;
  #pending = new Map(); // id -> {resolve, reject}, in the order sent

  constructor(connect) {
    this.#connect = connect;
  }

  request(body) {
    if (!this.#port) this.#open();
    const id = this.#nextId++;
    return new Promise((resolve, reject) => {
      this.#pending.set(id, { resolve, reject });
      try {
        this.#port.postMessage({ ...body, id });
      } catch (error) {
        this.#pending.delete(id);
        reject(error);
      }
    });
  }

  #open() {
    const port = this.#connect();
    port.onMessage.addListener((answer) => this.#answer(answer));
    port.onDisconnect.addListener((closed) => this.#closed(port, closed?.error));
    this.#port = port;
  }

  #answer(answer) {
    let id = answer?.id;
    if (!this.#pending.has(id)) id = this.#pending.keys().next().value;
    const waiting = this.#pending.get(id);
    if (!waiting) return;
    this.#pending.delete(id);
    if (answer?.ok) waiting.resolve(answer);
    else waiting.reject(new NativeHostError(answer?.error ?? "the native host gave no reason"));
  }

  #closed(port, error) {
    if (this.#port === port) this.#port = null;
    const why = error?.message ?? "the native host ended";
    for (const { reject } of this.#pending.values()) reject(new Error(why));
    this.#pending.clear();
  }
}

// What to tell the user when the native host cannot be reached.
export function nativeHostHelp(errorMessage) {
  if (/no such native application|not found|manifest/i.test(errorMessage ?? ""))
    return (
      `Thunderbird cannot find the native host "${NATIVE_HOST_NAME}". Install it with ` +
      "`make install` in the Quellbark source folder (it writes " +
      `~/.mozilla/native-messaging-hosts/${NATIVE_HOST_NAME}.json), then restart Thunderbird.`
    );
  return `The native host failed: ${errorMessage}`;
}
