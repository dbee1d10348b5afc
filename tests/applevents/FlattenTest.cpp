// Flattened descriptors: the byte layouts other systems produce, an event's round trip,
// and untrusted input that must be refused without harm.
#include "AETestSupport.h"

#include "AEPrivate.h"
#include "Codec.h"

#include <gtest/gtest.h>

using namespace aetest;

namespace {

OSStatus unflattenStatus(const Bytes& b) {
  Desc d;
  OSStatus status = AEUnflattenDescFromBuffer(b.data(), Size(b.size()), &d);
  EXPECT_TRUE(status == noErr || d.isNull());
  return status;
}

// The worked example of docs/flattened-descriptors.md: the layout a peer relies on.
TEST(Flatten, DocumentedEventLayout) {
  Desc ev;
  OSType sig = FOUR_CHAR_CODE("Qbrk");
  ASSERT_EQ(AEBuildAppleEvent(FOUR_CHAR_CODE("Qbrk"), FOUR_CHAR_CODE("Qscr"), typeApplSignature,
                              &sig, 4, 7, 0, &ev, nullptr,
                              "'----':'null'(),bDec:bool(1),Mess:\"Hi!\""),
            noErr);
  EXPECT_EQ(flatten(ev), bytes("'dle2' 00000000 'aevt' 00000088 00000001 00000005 00000003 "
                               "'evcl' 'type' 00000004 'Qbrk' 'evid' 'type' 00000004 'Qscr' "
                               "'addr' 'sign' 00000004 'Qbrk' 'rtid' 'shor' 00000002 0007 "
                               "'tran' 'long' 00000004 00000000 '----' 'null' 00000000 "
                               "'bDec' 'bool' 00000001 0100 'Mess' 'TEXT' 00000003 \"Hi!\" 00 "
                               "';;;;'"));
}

TEST(Flatten, BufferContract) {
  Desc d;
  ASSERT_EQ(AECreateDesc(typeChar, "abc", 3, &d), noErr);
  Size actual = 0;
  EXPECT_EQ(AEFlattenDesc(&d, nullptr, 0, &actual), noErr);
  EXPECT_EQ(actual, 19);
  EXPECT_EQ(AESizeOfFlattenedDesc(&d), 19);
  Bytes buf(18, 0xAA);
  EXPECT_EQ(AEFlattenDesc(&d, reinterpret_cast<Ptr>(buf.data()), 18, &actual), errAEBufferTooSmall);
  EXPECT_EQ(buf, Bytes(18, 0xAA));
}

Desc* richEvent() {
  auto* ev = new Desc;
  Desc inner;
  EXPECT_EQ(AEBuildAppleEvent(FOUR_CHAR_CODE("core"), FOUR_CHAR_CODE("getd"), typeKernelProcessID,
                              "\1\2\3\4", 4, 9, 3, &inner, nullptr,
                              "'----':obj{form:prop, seld:type(pnam)}, u:[1,\"x\"]"),
            noErr);
  EXPECT_EQ(AEBuildAppleEvent(FOUR_CHAR_CODE("Qbrk"), FOUR_CHAR_CODE("Qscr"), typeApplSignature,
                              "Qbrk", 4, -1, 0, ev, nullptr,
                              "'----':'null'(), ~bDec:bool(@), sSEP:'TEXT'(@), nest:@, "
                              "r:{a:doub(@), b:utxt($00410042$), c:'psn '($0000000100000002$)}",
                              1, "sep", static_cast<const AEDesc*>(&inner), 2.5),
            noErr);
  UInt32 port = 42;
  EXPECT_EQ(AEPutAttributePtr(ev, FOUR_CHAR_CODE("repp"), typeMachPort, &port, 4), noErr);
  EXPECT_EQ(AEPutParamPtr(ev, FOUR_CHAR_CODE("Mess"), typeChar, "odd\0\xFF", 5), noErr);
  return ev;
}

TEST(Flatten, AnEventRoundTrips) {
  std::unique_ptr<Desc> ev(richEvent());
  Bytes flat = flatten(*ev);
  ASSERT_FALSE(flat.empty());
  Desc back;
  ASSERT_EQ(AEUnflattenDesc(flat.data(), &back), noErr);
  EXPECT_EQ(back.descriptorType, typeAppleEvent);
  EXPECT_EQ(flatten(back), flat);
}

// What the transport sends, pieces that leave large data in place, joins up to exactly what
// AEFlattenDesc writes: swapped numbers, odd lengths and their padding, nested lists and records,
// and texts on both sides of the in-place size, one piece after another and side by side.
TEST(Flatten, PiecesJoinUpToTheFlattenedBytes) {
  std::unique_ptr<Desc> ev(richEvent());
  std::string big(ae::FlatPieces::kLeftInPlace, 'b'), odd(ae::FlatPieces::kLeftInPlace + 1, 'o');
  std::string under(ae::FlatPieces::kLeftInPlace - 1, 'u');
  EXPECT_EQ(
      AEPutParamPtr(ev.get(), FOUR_CHAR_CODE("big "), typeUTF8Text, big.data(), Size(big.size())),
      noErr);
  EXPECT_EQ(AEPutParamPtr(ev.get(), FOUR_CHAR_CODE("odd "), typeData, odd.data(), Size(odd.size())),
            noErr);
  EXPECT_EQ(
      AEPutParamPtr(ev.get(), FOUR_CHAR_CODE("undr"), typeChar, under.data(), Size(under.size())),
      noErr);
  std::u16string swapped(ae::FlatPieces::kLeftInPlace, u'\u0102'); // travels big-endian
  EXPECT_EQ(AEPutParamPtr(ev.get(), FOUR_CHAR_CODE("utxt"), typeUnicodeText, swapped.data(),
                          Size(swapped.size() * 2)),
            noErr);
  Desc list;
  ASSERT_EQ(AECreateList(nullptr, 0, false, &list), noErr);
  EXPECT_EQ(AEPutPtr(&list, 0, typeUTF8Text, odd.data(), Size(odd.size())), noErr);
  EXPECT_EQ(AEPutPtr(&list, 0, typeUTF8Text, big.data(), Size(big.size())), noErr);
  EXPECT_EQ(AEPutParamDesc(ev.get(), FOUR_CHAR_CODE("list"), &list), noErr);

  for (const Desc* d : {static_cast<const Desc*>(ev.get()), static_cast<const Desc*>(&list)}) {
    SCOPED_TRACE(d == ev.get() ? "event" : "list");
    ae::FlatPieces pieces;
    *pieces.room(3) = 0x7F; // bytes before the descriptor stay first
    ASSERT_EQ(ae::flattenInPieces(ae::view(d), pieces), noErr);
    std::vector<std::pair<const std::uint8_t*, std::size_t>> parts;
    pieces.forEachPiece(
        [&](const std::uint8_t* start, std::size_t length) { parts.emplace_back(start, length); });
    Bytes joined;
    for (auto [start, length] : parts)
      joined.insert(joined.end(), start, start + length);
    ASSERT_EQ(joined.size(), pieces.size());
    EXPECT_EQ(joined[0], 0x7F);
    EXPECT_EQ(Bytes(joined.begin() + 3, joined.end()), flatten(*d));
    // The large texts are pieces of their own, read from the descriptor; the swapped text and
    // the one under the size are written with the rest.
    auto sized = [&](std::size_t size) {
      return std::count_if(parts.begin(), parts.end(), [&](auto& part) {
        return part.second == size && (part.first < pieces.firstBytes() ||
                                       part.first >= pieces.firstBytes() + pieces.ownBytes());
      });
    };
    EXPECT_EQ(sized(big.size()), d == ev.get() ? 2 : 1);
    EXPECT_EQ(sized(odd.size()), d == ev.get() ? 2 : 1);
    EXPECT_EQ(sized(swapped.size() * 2) + sized(under.size()), 0);

    // Taken over, as the transport takes a thread's kept pieces: the one left behind has no
    // room to write into, and both serve again.
    ae::FlatPieces taken = std::move(pieces);
    EXPECT_EQ(pieces.ownBytes(), 0u);
    pieces.clear(16);
    *pieces.room(64) = 1;
    taken.clear();
    ASSERT_EQ(ae::flattenInPieces(ae::view(d), taken), noErr);
    EXPECT_EQ(taken.size(), joined.size() - 3);
  }
}

struct Malformed {
  const char* name;
  std::string flat;
  OSStatus err;
};

void PrintTo(const Malformed& m, std::ostream* os) {
  *os << m.name;
}

class RejectsFlat : public testing::TestWithParam<Malformed> {};

TEST_P(RejectsFlat, CleanError) {
  EXPECT_EQ(unflattenStatus(bytes(GetParam().flat)), GetParam().err);
}

const std::string kListHead = "00000000 00000000 00000018 'list' ";
const std::string kRecoHead = "00000000 00000000 00000018 'reco' ";

INSTANTIATE_TEST_SUITE_P(
    Table, RejectsFlat,
    testing::Values(
        Malformed{"empty", "", paramErr},
        Malformed{"wrong_magic", "'dle3' 00000000 'null' 00000000", paramErr},
        Malformed{"length_beyond_end", "'dle2' 00000000 'TEXT' 00000005 'abcd'", errAECorruptData},
        Malformed{"trailing_bytes", "'dle2' 00000000 'TEXT' 00000001 'ab'", errAECorruptData},
        Malformed{"huge_length", "'dle2' 00000000 'TEXT' FFFFFFF0 'abcd'", errAECorruptData},
        Malformed{"list_header_short", "'dle2' 00000000 'list' 00000008 00000000 00000000",
                  errAECorruptData},
        Malformed{"list_header_size",
                  "'dle2' 00000000 'list' 00000018 00000000 00000000 "
                  "00000010 'list' 00000000 00000000",
                  errAECorruptData},
        Malformed{"list_kind_mismatch",
                  "'dle2' 00000000 'list' 00000018 " + kRecoHead + "00000000 00000000",
                  errAECorruptData},
        Malformed{"count_beyond_items",
                  "'dle2' 00000000 'list' 00000018 " + kListHead + "7FFFFFFF 00000000",
                  errAECorruptData},
        Malformed{"item_length_huge",
                  "'dle2' 00000000 'list' 00000022 " + kListHead +
                      "00000001 00000000 'shor' FFFFFFFE 0001",
                  errAECorruptData},
        Malformed{"missing_pad",
                  "'dle2' 00000000 'list' 00000021 " + kListHead +
                      "00000001 00000000 'TEXT' 00000001 41",
                  errAECorruptData},
        Malformed{"duplicate_keys",
                  "'dle2' 00000000 'reco' 00000034 " + kRecoHead +
                      "00000002 00000000 'aaaa' 'shor' 00000002 0001 'aaaa' 'shor' 00000002 0002",
                  errAECorruptData},
        Malformed{"event_bad_version",
                  "'dle2' 00000000 'aevt' 00000010 00000002 00000000 "
                  "00000000 ';;;;'",
                  errAECorruptData},
        Malformed{"event_without_terminator",
                  "'dle2' 00000000 'aevt' 0000000C 00000001 "
                  "00000000 00000000",
                  errAECorruptData}));

Bytes nestedLists(int depth) {
  Bytes inner = bytes("'list' 00000018 " + kListHead + "00000000 00000000");
  for (int i = 1; i < depth; ++i) {
    Bytes outer = bytes(kListHead + "00000001 00000000");
    outer.insert(outer.end(), inner.begin(), inner.end());
    inner = bytes("'list'");
    Bytes len(4);
    for (int k = 0; k < 4; ++k)
      len[std::size_t(k)] = std::uint8_t(outer.size() >> (24 - 8 * k));
    inner.insert(inner.end(), len.begin(), len.end());
    inner.insert(inner.end(), outer.begin(), outer.end());
  }
  Bytes all = bytes("'dle2' 00000000");
  all.insert(all.end(), inner.begin(), inner.end());
  return all;
}

TEST(Unflatten, NestingIsLimited) {
  EXPECT_EQ(unflattenStatus(nestedLists(50)), noErr);
  EXPECT_EQ(unflattenStatus(nestedLists(200)), errAECorruptData);
}

TEST(Unflatten, EveryTruncationOfAnEventIsRefused) {
  std::unique_ptr<Desc> ev(richEvent());
  Bytes flat = flatten(*ev);
  for (std::size_t n = 0; n < flat.size(); ++n) {
    Bytes cut(flat.begin(), flat.begin() + long(n));
    EXPECT_NE(unflattenStatus(cut), noErr) << "prefix of " << n << " bytes";
  }
  EXPECT_EQ(unflattenStatus(flat), noErr);
}

TEST(Unflatten, UnboundedFormTrustsOnlyItsHeader) {
  Desc d;
  EXPECT_EQ(AEUnflattenDesc(nullptr, &d), paramErr);
  Bytes huge = bytes("'dle2' 00000000 'TEXT' 7FFFFFFF");
  EXPECT_EQ(AEUnflattenDesc(huge.data(), &d), paramErr);
  EXPECT_TRUE(d.isNull());
}

} // namespace
