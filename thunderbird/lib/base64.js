// A message's raw bytes as base64, the form the native host takes them in.
export function bytesToBase64(bytes) {
  if (typeof bytes.toBase64 === "function") return bytes.toBase64();
  let text = "";
  const chunk = 0x8000; // keeps String.fromCharCode's argument list small
  for (let i = 0; i < bytes.length; i += chunk)
    text += String.fromCharCode.apply(null, bytes.subarray(i, i + chunk));
  return btoa(text);
}
