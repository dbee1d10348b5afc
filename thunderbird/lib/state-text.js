// The native host's state in words for the options page.
export function describeState(state) {
  const plugin = state.plugin ?? {};
  const quellbark = state.quellbark ?? {};
  const session = state.session ?? {};
  let learned = "unknown";
  if (Number.isInteger(quellbark.learnedSpam) && Number.isInteger(quellbark.learnedGood))
    learned = `${quellbark.learnedSpam} junk, ${quellbark.learnedGood} good` +
      (quellbark.learnedSpam < 10 || quellbark.learnedGood < 10
        ? " (nothing is marked junk before 10 of each are learned)"
        : "");
  else if (quellbark.problem) learned = `unknown: ${quellbark.problem}`;
  return {
    plugin: plugin.loaded ? `loaded from ${plugin.path}` : `not loaded: ${plugin.problem ?? "?"}`,
    quellbark: !quellbark.found
      ? "not found: install it (make install puts it in ~/Applications)"
      : `${quellbark.running ? "running" : "not running (started on the next request)"}, ${quellbark.path}`,
    learned,
    session: Object.entries(session).map(([name, count]) => `${name}: ${count}`).join(", ") || "nothing yet",
  };
}
