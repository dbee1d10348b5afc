// Untrusted bytes as a local mail folder: the first byte says whether the rest is an mbox file
// or a Maildir (file names, a NUL, then the bytes every message file holds). The folder is
// listed as the host lists it and every message turned into its filter form. The mbox scanner
// must give disjoint messages in file order that the keyed lookup finds again, the Maildir index
// must be sorted with one entry per key, and a message read from its file must give the same
// form as the same bytes read from memory.
#include "FilterForm.h"
#include "FuzzScratch.h"
#include "MailError.h"
#include "MailStore.h"
#include "Maildir.h"
#include "Mbox.h"
#include "ReadOnlyFile.h"

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace mailhost;

namespace {

void writeFile(const fs::path& path, std::string_view bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!out)
    std::abort();
}

bool sameForm(const FilterForm& a, const FilterForm& b) {
  return a.headers == b.headers && a.attachments == b.attachments && a.body.view() == b.body.view();
}

// The form from the file and the form from the same bytes in memory agree, or both refuse.
void checkFilterForm(const MessageExtent& extent) {
  ReadOnlyFile file(extent.file);
  std::string bytes(static_cast<std::size_t>(extent.length), '\0');
  if (file.readAt(extent.offset, bytes.data(), bytes.size()) != bytes.size())
    std::abort();
  std::optional<FilterForm> fromFile, fromMemory;
  try {
    fromFile = toFilterForm(extent);
  } catch (const MailError& error) {
    if (error.kind() != MailErrorKind::Unparseable)
      std::abort();
  }
  try {
    fromMemory = toFilterForm(bytes);
  } catch (const MailError& error) {
    if (error.kind() != MailErrorKind::Unparseable)
      std::abort();
  }
  if (fromFile.has_value() != fromMemory.has_value() ||
      (fromFile && !sameForm(*fromFile, *fromMemory)))
    std::abort();
}

void checkMbox(const fs::path& path) {
  ReadOnlyFile file(path);
  std::vector<MboxEntry> entries = scanMbox(file);
  std::uint64_t previousEnd = 0;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const MboxEntry& entry = entries[i];
    if ((i > 0 && entry.key < previousEnd) || entry.key > entry.start || entry.start > entry.end ||
        entry.end > file.size())
      std::abort();
    previousEnd = entry.end;
    if (!(findMboxEntry(file, entry.key) == entry))
      std::abort();
  }
}

void checkMaildir(const fs::path& dir) {
  MaildirIndex index(dir);
  for (std::size_t i = 0; i < index.size(); ++i) {
    if ((i > 0 && !(index.key(i - 1) < index.key(i))) ||
        index.fileFor(index.key(i)) != fs::path(index.file(i)) ||
        maildirKeyOf(fs::path(index.file(i)).filename().string()) != index.key(i))
      std::abort();
  }
}

void listAndConvert(const fs::path& folder) {
  MailStore store;
  FolderListing listing;
  try {
    listing = store.list(folder);
  } catch (const MailError&) {
    return; // e.g. an empty file, or a Maildir with nothing in it
  }
  for (std::size_t i = 0; i < listing.size(); ++i) {
    MessageRef message = listing.at(i);
    if (store.parseUri(message.uri).path != message.path)
      std::abort();
    checkFilterForm(store.locate(message));
  }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0)
    return 0;
  std::string_view input(reinterpret_cast<const char*>(data) + 1, size - 1);
  fs::remove_all(fuzzScratch() / "mail");
  fs::create_directory(fuzzScratch() / "mail");
  if (data[0] & 1) {
    fs::path maildir = fuzzScratch() / "mail" / "Folder";
    fs::create_directories(maildir / "cur");
    fs::create_directories(maildir / "new");
    std::size_t split = input.find('\0');
    std::string_view names = split == std::string_view::npos ? "" : input.substr(0, split);
    std::string_view content = input.substr(split == std::string_view::npos ? 0 : split + 1);
    // Names separated by '\n'; one that starts with '+' goes to new/.
    std::size_t made = 0;
    for (std::size_t from = 0; from <= names.size() && made < 16; ++made) {
      std::size_t to = std::min(names.find('\n', from), names.size());
      std::string_view name = names.substr(from, to - from);
      from = to + 1;
      bool fresh = !name.empty() && name[0] == '+';
      if (fresh)
        name.remove_prefix(1);
      if (name.empty() || name == "." || name == ".." || name.size() > 200 ||
          name.find('/') != std::string_view::npos)
        continue;
      writeFile(maildir / (fresh ? "new" : "cur") / std::string(name), content);
    }
    checkMaildir(maildir);
    listAndConvert(maildir);
  } else {
    fs::path mbox = fuzzScratch() / "mail" / "Inbox";
    writeFile(mbox, input);
    checkMbox(mbox);
    listAndConvert(mbox);
  }
  return 0;
}
