#include "NameIndex.h"

#include "MailError.h"
#include "TemporaryNameTable.h"

#include <algorithm>
#include <cstdlib>

namespace fs = std::filesystem;

namespace mailhost {

std::size_t NameIndex::memoryBudget() {
  // Beyond this, about 500 names as mail programs make them, a folder's names are written out.
  // Reading a listing back from the table costs too little to be seen beside the messages'
  // classification (10,000 messages: the same CPU time within the runs' spread either way),
  // while every KiB kept here is a KiB more that a large folder holds than a small one.
  constexpr std::size_t kDefault = 32 * 1024;
  const char* given = std::getenv("MAILHOST_LISTING_MEMORY");
  if (!given || !*given)
    given = std::getenv("MAILHOST_MAILDIR_MEMORY"); // its name when only Maildirs had it
  if (!given || !*given)
    return kDefault;
  char* end = nullptr;
  unsigned long long bytes = std::strtoull(given, &end, 10);
  return *end == '\0' ? std::size_t(bytes) : kDefault;
}

NameIndex::NameIndex(fs::path folder, KeyOf keyOf, std::size_t expectedNames,
                     std::size_t expectedBytes)
    : mFolder(std::move(folder)), mKeyOf(keyOf), mBudget(memoryBudget()) {
  expectedBytes += expectedNames; // each name's '\0'
  if (std::size_t whole = expectedBytes + expectedNames * sizeof(std::uint32_t); whole > mBudget) {
    // Room for one budget's worth at a time.
    expectedNames = expectedNames * mBudget / whole + 1;
    expectedBytes = expectedBytes * mBudget / whole + 256;
  }
  mEntries.reserve(expectedNames);
  mNames.reserve(expectedBytes);
}

NameIndex::~NameIndex() = default;

void NameIndex::add(std::string_view name) {
  mEntries.push_back(static_cast<std::uint32_t>(mNames.size()));
  mNames.append(name).push_back('\0');
  if (mNames.size() + mEntries.size() * sizeof(std::uint32_t) >= mBudget)
    moveToTable();
}

void NameIndex::finish() {
  if (mTable) {
    moveToTable();
    try {
      mTable->finish();
    } catch (const MailError& error) {
      throw MailError(error.kind(), mFolder.string() + ": " + error.what());
    }
    mNames = std::string();
    mEntries = std::vector<std::uint32_t>();
    return;
  }
  sortAndDropDuplicates();
  // Only what was reserved for names that were left out, or that came meanwhile.
  if (mEntries.capacity() - mEntries.size() > mEntries.size() / 8)
    mEntries.shrink_to_fit();
  if (mNames.capacity() - mNames.size() > mNames.size() / 8)
    mNames.shrink_to_fit();
}

void NameIndex::sortAndDropDuplicates() {
  auto keyAt = [this](std::uint32_t entry) { return mKeyOf(mNames.c_str() + entry); };
  // Stable, so that of two names with one key the first added stays.
  std::stable_sort(mEntries.begin(), mEntries.end(),
                   [&](std::uint32_t a, std::uint32_t b) { return keyAt(a) < keyAt(b); });
  mEntries.erase(
      std::unique(mEntries.begin(), mEntries.end(),
                  [&](std::uint32_t a, std::uint32_t b) { return keyAt(a) == keyAt(b); }),
      mEntries.end());
}

// The names added so far go to the table, in key order (the quickest to add), and the buffer is
// used again for the next ones. The table keeps the first name of a key, as the buffer does.
void NameIndex::moveToTable() {
  try {
    if (!mTable)
      mTable = std::make_unique<TemporaryNameTable>(TemporaryNameTable::defaultFolder());
    sortAndDropDuplicates();
    for (std::size_t i = 0; i < mEntries.size(); ++i)
      mTable->add(mKeyOf(nameInBuffer(i)), nameInBuffer(i));
  } catch (const MailError& error) {
    throw MailError(error.kind(), mFolder.string() + ": " + error.what());
  }
  mEntries.clear();
  mNames.clear();
}

std::size_t NameIndex::size() const {
  return mTable ? mTable->size() : mEntries.size();
}

std::string NameIndex::key(std::size_t i) const {
  return mTable ? mTable->keyAt(i) : std::string(mKeyOf(nameInBuffer(i)));
}

std::string NameIndex::name(std::size_t i) const {
  return mTable ? mTable->nameAt(i) : std::string(nameInBuffer(i));
}

std::optional<std::string> NameIndex::nameFor(std::string_view wanted) const {
  if (mTable)
    return mTable->nameFor(wanted);
  auto it = std::lower_bound(mEntries.begin(), mEntries.end(), wanted,
                             [this](std::uint32_t entry, std::string_view k) {
                               return mKeyOf(mNames.c_str() + entry) < k;
                             });
  if (it == mEntries.end() || mKeyOf(mNames.c_str() + *it) != wanted)
    return std::nullopt;
  return std::string(mNames.c_str() + *it);
}

} // namespace mailhost
