// A folder's listing as names sorted by key, in memory that stops growing with the folder.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mailhost {

class TemporaryNameTable;

// Names added in any order, read back sorted by their keys. A folder may hold hundreds of
// thousands of messages and its listing is kept for a whole run: the names live in one buffer,
// and when they outgrow a fixed budget they go, a buffer at a time, to a TemporaryNameTable.
// Of two names with one key the first added stays.
class NameIndex {
public:
  // A name's key: a part of the name itself.
  using KeyOf = std::string_view (*)(std::string_view name);

  // `folder` names what is listed in errors. `expectedNames` and `expectedBytes` (the names'
  // lengths together) reserve what the buffer will hold, up to the budget.
  NameIndex(std::filesystem::path folder, KeyOf keyOf, std::size_t expectedNames = 0,
            std::size_t expectedBytes = 0);
  ~NameIndex();
  NameIndex(const NameIndex&) = delete;
  NameIndex& operator=(const NameIndex&) = delete;

  // Both throw MailError(Io) when a large listing cannot be written to its temporary table.
  void add(std::string_view name);
  // Ends the adding; the index is read-only from then on.
  void finish();

  std::size_t size() const;
  // Entry i in key order: quickest when the entries are asked for in that order.
  std::string key(std::size_t i) const;
  std::string name(std::size_t i) const;
  std::optional<std::string> nameFor(std::string_view key) const;

  // The bytes of names held in memory at most; MAILHOST_LISTING_MEMORY overrides it.
  static std::size_t memoryBudget();

private:
  std::string_view nameInBuffer(std::size_t i) const { return mNames.c_str() + mEntries[i]; }
  void sortAndDropDuplicates();
  void moveToTable();

  std::filesystem::path mFolder;
  KeyOf mKeyOf;
  std::size_t mBudget;
  std::string mNames;                         // the names one after the other, each ended by '\0'
  std::vector<std::uint32_t> mEntries;        // where each name starts in mNames, in key order
  std::unique_ptr<TemporaryNameTable> mTable; // every name, once the budget is exceeded
};

} // namespace mailhost
