// Statuses written from the writer thread: all of them committed by a flush or the writer's
// end, failures named by message, and the store usable after a failed transaction.
#include "JunkStatusWriter.h"
#include "TempDir.h"

#include <gtest/gtest.h>

using testsupport::TempDir;

using namespace mailhost;

namespace {

std::string uri(int i) {
  return "mailbox-message://nobody@Local%20Folders/box#" + std::to_string(i);
}

TEST(JunkStatusWriterTest, EveryStatusIsCommittedByAFlushAndByTheWritersEnd) {
  TempDir dir;
  const int kCount = 3 * static_cast<int>(JunkStatusWriter::kMaxPending) + 7;
  {
    JunkStore store(dir / JunkStore::kFileName);
    JunkStatusWriter writer(store);
    for (int i = 0; i < kCount; ++i)
      writer.record(uri(i), i % 2 ? 100 : 0, JunkOrigin::Plugin);
    EXPECT_TRUE(writer.flush().empty());
    EXPECT_EQ(store.all().size(), static_cast<std::size_t>(kCount));
    writer.record(uri(kCount), 100, JunkOrigin::User); // left to the destructor
  }
  JunkStore reopened(dir / JunkStore::kFileName);
  EXPECT_EQ(reopened.all().size(), static_cast<std::size_t>(kCount + 1));
  std::optional<JunkStatus> last = reopened.find(uri(kCount));
  ASSERT_TRUE(last);
  EXPECT_EQ(last->origin, JunkOrigin::User);
}

TEST(JunkStatusWriterTest, AFailedTransactionNamesItsMessagesAndWritingGoesOn) {
  TempDir dir;
  JunkStore store(dir / JunkStore::kFileName);
  JunkStatusWriter writer(store, std::chrono::milliseconds(1000));
  writer.record(uri(1), 0, JunkOrigin::Plugin);
  writer.record(uri(2), 50, JunkOrigin::Plugin); // not a score the table takes
  std::vector<JunkStatusWriter::Failure> failures = writer.flush();
  ASSERT_FALSE(failures.empty());
  EXPECT_EQ(failures.back().uri, uri(2));
  writer.record(uri(3), 100, JunkOrigin::Plugin);
  EXPECT_TRUE(writer.flush().empty());
  EXPECT_TRUE(store.find(uri(3)));
}

} // namespace
