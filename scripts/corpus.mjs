#!/usr/bin/env node
// Turns the SpamAssassin corpus (as scripts/fetch-corpus.sh leaves it) into Maildir folders,
// and tallies `mailhost classify --json` results against the folders' labels.
//
//   node scripts/corpus.mjs split DATA OUT [--chunk N] [--heldout-percent P] [--limit N]
//       OUT/{train,heldout}/{spam,ham}/NNN/cur/<group>.<id>:2,  at most N (100) per folder.
//       A message is held out when the first 32 bits of SHA-256("quellbark-demo-1" + its bytes),
//       modulo 100, are below P (20): a fixed split that does not depend on file order.
//       --limit N takes the first N messages of every group (a quick run).
//       Prints one JSON line: the counts per split and label.
//   node scripts/corpus.mjs tally SECONDS RESULT.json...
//       The confusion table of classify results whose folder path holds /spam/ or /ham/.
//   node scripts/corpus.mjs agreement RESULT.json BOGOFILTER_OUTPUT
//       Compares the plug-in's verdicts with bogofilter's own `-v`-style `file spamicity` lines.
//
// Every message is written byte for byte, less a leading mbox "From " line (a Maildir file
// carries none).
import { createHash } from 'node:crypto';
import fs from 'node:fs';
import path from 'node:path';

const kSeed = 'quellbark-demo-1';

function fail(message) {
  process.stderr.write(`corpus: ${message}\n`);
  process.exit(2);
}

function readCorpus(dataDir) {
  const listFile = path.join(dataDir, 'file_list.json');
  let list;
  try {
    list = JSON.parse(fs.readFileSync(listFile, 'utf8'));
  } catch (e) {
    fail(`cannot read ${listFile}: ${e.message}`);
  }
  if (!Array.isArray(list))
    fail(`${listFile} is not a list of files`);
  return list.map((relative) => {
    const [group, file] = relative.split('/');
    const id = file.split('.')[0];
    return { group, id, file: path.join(dataDir, relative),
             label: group.startsWith('spam') ? 'spam' : 'ham' };
  });
}

function withoutFromLine(bytes) {
  if (bytes.subarray(0, 5).toString('latin1') !== 'From ')
    return bytes;
  const end = bytes.indexOf(0x0a);
  return end < 0 ? Buffer.alloc(0) : bytes.subarray(end + 1);
}

export function isHeldOut(bytes, percent) {
  const digest = createHash('sha256').update(kSeed).update(bytes).digest();
  return digest.readUInt32BE(0) % 100 < percent;
}

function writeMessage(folder, name, bytes) {
  fs.mkdirSync(path.join(folder, 'cur'), { recursive: true });
  fs.mkdirSync(path.join(folder, 'new'), { recursive: true });
  fs.mkdirSync(path.join(folder, 'tmp'), { recursive: true });
  fs.writeFileSync(path.join(folder, 'cur', `${name}:2,`), bytes);
}

function option(args, name, fallback) {
  const at = args.indexOf(name);
  if (at < 0)
    return fallback;
  const value = Number(args[at + 1]);
  if (!Number.isInteger(value) || value < 0)
    fail(`${name} needs a whole number`);
  args.splice(at, 2);
  return value;
}

function split(args) {
  const chunk = option(args, '--chunk', 100) || 1;
  const percent = option(args, '--heldout-percent', 20);
  const limit = option(args, '--limit', 0);
  const [dataDir, out] = args;
  if (!dataDir || !out)
    fail('usage: split DATA OUT [--chunk N] [--heldout-percent P] [--limit N]');
  fs.rmSync(out, { recursive: true, force: true });
  const counts = { train: { spam: 0, ham: 0 }, heldout: { spam: 0, ham: 0 } };
  const perGroup = new Map();
  for (const message of readCorpus(dataDir)) {
    const taken = perGroup.get(message.group) ?? 0;
    if (limit && taken >= limit)
      continue;
    perGroup.set(message.group, taken + 1);
    const bytes = withoutFromLine(fs.readFileSync(message.file));
    const part = isHeldOut(bytes, percent) ? 'heldout' : 'train';
    const n = counts[part][message.label]++;
    const folder = path.join(out, part, message.label, String(Math.floor(n / chunk)).padStart(3, '0'));
    writeMessage(folder, `${message.group}.${message.id}`, bytes);
  }
  process.stdout.write(JSON.stringify(counts) + '\n');
}

function readResults(files) {
  const messages = [];
  for (const file of files) {
    let doc;
    try {
      doc = JSON.parse(fs.readFileSync(file, 'utf8'));
    } catch (e) {
      fail(`cannot read results ${file}: ${e.message}`);
    }
    messages.push(...(doc.messages ?? []));
  }
  return messages;
}

export function confusion(messages) {
  const table = { spam: { junk: 0, good: 0, unclassified: 0 },
                  ham: { junk: 0, good: 0, unclassified: 0 } };
  let unlabelled = 0;
  for (const m of messages) {
    const label = /\/spam\//.test(m.folder ?? '') ? 'spam'
                : /\/ham\//.test(m.folder ?? '') ? 'ham' : null;
    // A verdict reported after a failed exchange is none: it counts as not classified.
    const verdict = m.verdict === 'unverified' ? 'unclassified' : m.verdict;
    if (!label || !(verdict in table[label])) {
      unlabelled++;
      continue;
    }
    table[label][verdict]++;
  }
  return { table, unlabelled };
}

const pct = (part, whole) => (whole ? (100 * part / whole).toFixed(2) : '-') + '%';

function tally(args) {
  const [secondsText, ...files] = args;
  const seconds = Number(secondsText);
  if (!(seconds >= 0) || files.length === 0)
    fail('usage: tally SECONDS RESULT.json...');
  const { table, unlabelled } = confusion(readResults(files));
  const row = (label) => table[label].junk + table[label].good + table[label].unclassified;
  const total = row('spam') + row('ham');
  const correct = table.spam.junk + table.ham.good;
  const columns = (label, cells) => label.padEnd(12) + cells.map((c) => String(c).padStart(16)).join('');
  const cellsOf = (label) => [table[label].junk, table[label].good, table[label].unclassified];
  const lines = [
    columns('', ['verdict junk', 'verdict good', 'not classified']),
    columns('actual spam', cellsOf('spam')),
    columns('actual ham', cellsOf('ham')),
    '',
    `messages            ${total}` + (unlabelled ? ` (and ${unlabelled} without a label)` : ''),
    `accuracy            ${pct(correct, total)}`,
    `false positives     ${pct(table.ham.junk, row('ham'))} of ham marked junk (${table.ham.junk})`,
    `false negatives     ${pct(table.spam.good, row('spam'))} of spam passed as good (${table.spam.good})`,
    `speed               ${seconds > 0 ? (total / seconds).toFixed(1) : '-'} messages/s (${seconds.toFixed(1)} s)`,
  ];
  process.stdout.write(lines.join('\n') + '\n');
}

// bogofilter -b -v -T... prints "<file> <class letter> <spamicity>" or "<file> <spamicity>".
export function parseBogofilterLines(text) {
  const scores = new Map();
  for (const line of text.split('\n')) {
    const fields = line.trim().split(/\s+/);
    if (fields.length < 2)
      continue;
    const spamicity = Number(fields[fields.length - 1]);
    if (!Number.isFinite(spamicity))
      continue;
    scores.set(path.basename(fields[0]), spamicity);
  }
  return scores;
}

function agreement(args) {
  const [resultFile, bogofilterFile] = args;
  if (!resultFile || !bogofilterFile)
    fail('usage: agreement RESULT.json BOGOFILTER_OUTPUT');
  const scores = parseBogofilterLines(fs.readFileSync(bogofilterFile, 'utf8'));
  let same = 0, differ = 0, missing = 0;
  const examples = [];
  for (const m of readResults([resultFile])) {
    const key = decodeURIComponent(m.uri.slice(m.uri.lastIndexOf('#') + 1));
    const file = scores.has(`${key}:2,`) ? `${key}:2,` : key;
    if (!scores.has(file)) {
      missing++;
      continue;
    }
    const spamicity = scores.get(file);
    const own = Math.round(spamicity * 100) >= 50 ? 'junk' : 'good';
    if (own === m.verdict)
      same++;
    else {
      differ++;
      if (examples.length < 5)
        examples.push(`${key}: plug-in ${m.verdict}, bogofilter ${spamicity.toFixed(4)}`);
    }
  }
  process.stdout.write(JSON.stringify({ same, differ, missing, examples }) + '\n');
}

const [command, ...rest] = process.argv.slice(2);
const commands = { split, tally, agreement };
if (!(command in commands))
  fail('usage: corpus.mjs split|tally|agreement ...');
commands[command](rest);
