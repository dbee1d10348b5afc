// The filter form of a message: decoded header fields in message order, attachments reported
// apart, the body as UTF-8 text with parts separated; and the mail files are never changed.
#include "FilterForm.h"
#include "CharsetConverters.h"
#include "MailError.h"
#include "MailStore.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <iconv.h>
#include <sys/stat.h>

using testsupport::readFile;
using testsupport::TempDir;

namespace fs = std::filesystem;
using namespace mailhost;

namespace {

std::string valueOf(const FilterForm& form, const std::string& name) {
  for (const HeaderField& field : form.headers)
    if (field.name == name)
      return field.value;
  return "<missing>";
}

const std::string kSep(kPartSeparator);

} // namespace

TEST(FilterFormHeaders, ValuesAreUnfoldedTrimmedAndDecoded) {
  struct Case {
    const char* what;
    std::string field; // one raw header field, with its line end
    std::string name;
    std::string value;
  } cases[] = {
      {"encoded word, UTF-8 Q", "From: =?utf-8?q?J=C3=B6rg?= <j@x.org>\n", "From",
       "J\xC3\xB6rg <j@x.org>"},
      {"adjacent encoded words join", "Subject: =?utf-8?q?a?= =?utf-8?q?b?=\n", "Subject", "ab"},
      {"folded and padded", "Subject:   Hello\n   World  \n", "Subject", "Hello   World"},
      {"raw Latin-1 becomes UTF-8", "X-Raw: gr\xFC\xDF\n", "X-Raw", "gr\xC3\xBC\xC3\x9F"},
      {"a NUL byte ends the value", std::string("X-Nul: ab\0cd\n", 13), "X-Nul", "ab"},
      {"the date keeps its own text", "Date: Mon, 1 Jan 2001 00:00:00 +0000 (UTC)\n", "Date",
       "Mon, 1 Jan 2001 00:00:00 +0000 (UTC)"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    FilterForm form = toFilterForm("Message-ID: <1@x>\n" + c.field + "\nbody\n");
    EXPECT_EQ(valueOf(form, c.name), c.value);
    EXPECT_EQ(form.headers.size(), 2u);
  }
}

TEST(FilterFormHeaders, EveryFieldOnceInMessageOrder) {
  std::string message = "From nobody Mon Jan  1 00:00:00 2001\n"
                        "Received: first\n"
                        "Content-Type: text/plain; charset=utf-8\n"
                        "Subject: s\n"
                        "Received: second\n"
                        "MIME-Version: 1.0\n"
                        "Content-Transfer-Encoding: 8bit\n"
                        "X-Last: z\n"
                        "\n"
                        "body\n";
  FilterForm form = toFilterForm(message);
  std::vector<HeaderField> expected = {
      {"Received", "first"},   {"Content-Type", "text/plain; charset=utf-8"},
      {"Subject", "s"},        {"Received", "second"},
      {"MIME-Version", "1.0"}, {"Content-Transfer-Encoding", "8bit"},
      {"X-Last", "z"},
  };
  EXPECT_EQ(form.headers, expected);
  EXPECT_EQ(form.body.view(), "body\n");
}

// Most header blocks are read without GMime's header objects; behind a field only GMime reads
// (a name with a character the direct reading does not take), the same bytes must give the same
// form after that field.
TEST(FilterFormHeaders, ADirectlyReadBlockReadsAsGMimeReadsIt) {
  struct Case {
    const char* what;
    std::string message;
    std::string subject; // the Subject value expected
  } cases[] = {
      {"folding, tabs and CRLF", "Subject: a\r\n\t b \r\n  \r\nX: y\r\n\r\nbody\r\n", "a\t b"},
      {"empty value, no space after the colon", "X-Empty:\nSubject:s\n\n", "s"},
      {"folded MIME fields among others, any case",
       "content-type: multipart/mixed;\r\n boundary=\"b\"\r\nSubject: m\r\n"
       "CONTENT-TRANSFER-ENCODING: 7bit\r\n\r\n--b\r\nContent-Type: text/html\r\n\r\n<p>h</p>"
       "\r\n--b\r\nContent-Type: image/png\r\nContent-Disposition: attachment; filename=a.png"
       "\r\n\r\nPNG\r\n--b--\r\n",
       "m"},
      {"attachment at the top",
       "Subject: t\nContent-Disposition: attachment; filename=n.txt\n\nx\n", "t"},
      {"base64 Latin-1 text",
       "Subject: q\nContent-Type: text/plain; charset=ISO-8859-1\n"
       "Content-Transfer-Encoding: base64\n\n6XTp\n",
       "q"},
      {"no blank line ends the block", "Subject: open\nX: y\n", "open"},
      {"no line end at all", "Subject: open", "open"},
      {"a NUL byte", std::string("Subject: ab\0cd\n\nx\n", 18), "ab"},
      {"a bare CR", "Subject: a\rb\n\nx\n", "ab"},
      {"encoded words, folded", "Subject: =?utf-8?q?=C3=A9?= \r\n =?utf-8?q?t?=\r\n\r\nx\n",
       "\xC3\xA9t"},
      {"8-bit text: UTF-8, else Latin-1", "X-A: caf\xC3\xA9\nSubject: \t\xE9t\xE9 \n\nx\n",
       "\xC3\xA9t\xC3\xA9"},
      {"a line that is not a field", "Subject: s\nnot a field\n\nx\n", "s"},
      // Runs of empty parameters are dropped before GMime sees them; what they hide is not.
      {"empty parameters before a charset, folded",
       "Subject: e\nContent-Type: text/plain ; ; ;\r\n ;\t; charset=\"koi8-r\" "
       ";;\n\n\xF0\xD2\xC9\n",
       "e"},
      {"empty parameters beside a quoted name that holds semicolons",
       "Subject: f\nContent-Disposition: attachment;; ; filename=\"x;; ;y.txt\" ; ;\n\nx\n", "f"},
      // One text part as written: read without GMime's parser, it must read as GMime reads it.
      {"single part, no MIME fields, CRLF", "Subject: p\r\n\r\nline\r\n\r\nmore\r\n", "p"},
      {"single part, empty body", "Subject: p\n\n", "p"},
      {"HTML, quoted UTF-8 charset, 8bit, folded",
       "Subject: p\nContent-Type: TEXT/HTML;\n\tcharset=\"UTF-8\"; format=flowed;\n"
       "Content-Transfer-Encoding: 8BIT\n\n<p>caf\xC3\xA9</p>\n",
       "p"},
      {"UTF-8 declared, not valid: read as Latin-1",
       "Subject: p\nContent-Type: text/plain; charset=utf-8\n\ncaf\xE9\n", "p"},
      {"Latin-1 under another name, binary",
       "Subject: p\nContent-Type: text/plain; charset=latin1\nContent-Transfer-Encoding: binary\n"
       "\ngr\xFC\xDF\n",
       "p"},
      {"NUL bytes and a From line in the body", std::string("Subject: p\n\na\0b\nFrom x\n", 22),
       "p"},
      // Left to GMime's parser: the same bytes must come out either way.
      {"a comment in the type", "Subject: p\nContent-Type: text/plain (c); charset=koi8-r\n\nx\n",
       "p"},
      {"an RFC 2231 charset", "Subject: p\nContent-Type: text/plain; charset*=utf-8''koi8-r\n\nx\n",
       "p"},
      {"two types", "Subject: p\nContent-Type: image/png\nContent-Type: text/plain\n\nx\n", "p"},
      {"another charset", "Subject: p\nContent-Type: text/plain; charset=koi8-r\n\n\xF0\xD2\n",
       "p"},
      {"quoted-printable", "Subject: p\nContent-Transfer-Encoding: quoted-printable\n\na=3Db\n",
       "p"},
      {"a type without a subtype", "Subject: p\nContent-Type: text\n\nx\n", "p"},
  };
  const std::string gmimeField = "X!GMime: only\n";
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    FilterForm form = toFilterForm(c.message);
    FilterForm decoded = toFilterForm(gmimeField + c.message);
    ASSERT_FALSE(decoded.headers.empty());
    EXPECT_EQ(decoded.headers.front(), (HeaderField{"X!GMime", "only"}));
    decoded.headers.erase(decoded.headers.begin());
    EXPECT_EQ(form.headers, decoded.headers);
    EXPECT_EQ(form.attachments, decoded.attachments);
    EXPECT_EQ(form.body.view(), decoded.body.view());
    EXPECT_EQ(valueOf(form, "Subject"), c.subject);
  }
}

TEST(FilterFormBody, TextIsDecodedToUtf8AndPartsAreSeparated) {
  struct Case {
    const char* what;
    std::string message;
    std::string body;
  } cases[] = {
      {"plain text as written", "Subject: p\n\nline one\r\nline <two>\n",
       "line one\r\nline <two>\n"},
      {"quoted-printable Latin-1",
       "Content-Type: text/plain; charset=iso-8859-1\nContent-Transfer-Encoding: "
       "quoted-printable\n\n"
       "caf=E9 =\nnext\n",
       "caf\xC3\xA9 next\n"},
      {"Latin-1 among long ASCII runs",
       "Content-Type: text/plain; charset=ISO-8859-1\n\n\xE9"
       "abcdefghijklmnop\xFC\xFFqrstuvwxyz0123456789\n",
       "\xC3\xA9"
       "abcdefghijklmnop\xC3\xBC\xC3\xBFqrstuvwxyz0123456789\n"},
      {"base64 UTF-8",
       "Content-Type: text/plain; charset=utf-8\nContent-Transfer-Encoding: base64\n\nw6nDqA==\n",
       "\xC3\xA9\xC3\xA8"},
      {"windows-1252", "Content-Type: text/plain; charset=windows-1252\n\n\x80 \x93q\x94\n",
       "\xE2\x82\xAC \xE2\x80\x9Cq\xE2\x80\x9D\n"},
      {"undeclared 8-bit that is not UTF-8 is Latin-1", "Subject: l\n\n\xE9t\xE9\n",
       "\xC3\xA9t\xC3\xA9\n"},
      {"unknown charset is read like undeclared text",
       "Content-Type: text/plain; charset=x-no-such-charset\n\n\xE9\n", "\xC3\xA9\n"},
      {"every alternative, separated",
       "Content-Type: multipart/alternative; boundary=b\n\n--b\nContent-Type: text/plain\n\nplain\n"
       "--b\nContent-Type: text/html\n\n<b>html</b>\n--b--\n",
       "plain" + kSep + "<b>html</b>"},
      {"nested multiparts keep document order",
       "Content-Type: multipart/mixed; boundary=o\n\n--o\n"
       "Content-Type: multipart/alternative; boundary=i\n\n--i\n\nA\n--i\n"
       "Content-Type: text/html\n\nB\n--i--\n--o\nContent-Type: text/plain\n\nC\n--o--\n",
       "A" + kSep + "B" + kSep + "C"},
      {"headers only", "Subject: nothing else\n", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    FilterForm form = toFilterForm(c.message);
    EXPECT_EQ(form.body.view(), c.body);
    EXPECT_TRUE(form.attachments.empty());
  }
}

TEST(FilterFormBody, AttachmentsAreReportedAndNotInlined) {
  struct Case {
    const char* what;
    std::string message;
    std::string body;
    std::vector<AttachmentInfo> attachments;
  } cases[] = {
      {"named file, RFC 2231 name",
       "Content-Type: multipart/mixed; boundary=b\n\n--b\nContent-Type: text/plain\n\ntext\n--b\n"
       "Content-Type: application/pdf\nContent-Disposition: attachment; "
       "filename*=utf-8''r%C3%A9sum%C3%A9.pdf\nContent-Transfer-Encoding: "
       "base64\n\nJVBERg==\n--b--\n",
       "text",
       {{"application/pdf", "1.2", "r\xC3\xA9sum\xC3\xA9.pdf"}}},
      {"encoded-word name, unnamed image",
       "Content-Type: multipart/mixed; boundary=b\n\n--b\n\nt\n--b\n"
       "Content-Type: image/png; name=\"=?utf-8?q?B=C3=BCd.png?=\"\n\nPNG\n--b\n"
       "Content-Type: image/gif\n\nGIF\n--b--\n",
       "t",
       {{"image/png", "1.2",
         "B\xC3\xBC"
         "d.png"},
        {"image/gif", "1.3", "Part 1.3"}}},
      {"text marked as attachment",
       "Content-Type: multipart/mixed; boundary=b\n\n--b\n\nshown\n--b\nContent-Type: text/plain\n"
       "Content-Disposition: attachment; filename=notes.txt\n\nhidden\n--b--\n",
       "shown",
       {{"text/plain", "1.2", "notes.txt"}}},
      {"attached message",
       "Content-Type: multipart/mixed; boundary=b\n\n--b\n\nouter\n--b\n"
       "Content-Type: message/rfc822\n\nSubject: inner\n\ninner body\n--b--\n",
       "outer",
       {{"message/rfc822", "1.2", "Part 1.2"}}},
      {"a single non-text part",
       "Content-Type: application/zip; name=a.zip\nContent-Transfer-Encoding: base64\n\nUEsDBA==\n",
       "",
       {{"application/zip", "1", "a.zip"}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    FilterForm form = toFilterForm(c.message);
    EXPECT_EQ(form.body.view(), c.body);
    EXPECT_EQ(form.attachments, c.attachments);
  }
}

TEST(FilterForm, EmptyAndUnreadableMessages) {
  FilterForm empty = toFilterForm(std::string_view());
  EXPECT_TRUE(empty.headers.empty());
  EXPECT_TRUE(empty.attachments.empty());
  EXPECT_EQ(empty.body.size(), 0u);
  EXPECT_TRUE(toFilterForm("From x@y Mon Jan  1 00:00:00 2001\n").headers.empty());

  try {
    toFilterForm("this is not a header line\nnor this\n");
    ADD_FAILURE() << "accepted a message without headers";
  } catch (const MailError& error) {
    EXPECT_EQ(error.kind(), MailErrorKind::Unparseable);
  }
}

TEST(FilterForm, ReadingNeverChangesAMailFile) {
  TempDir dir;
  std::vector<fs::path> files = {
      dir.write("Inbox", "From a\nSubject: 1\n\none\n\nFrom b\nSubject: 2\n\ntwo\n"),
      dir.write("Box/cur/1.a:2,S", "Subject: m\n\nmaildir\n"),
      dir.write("Box/new/2.b", "Subject: n\n\nnew\n"),
      dir.write("single.eml", "From x\nSubject: e\n\neml\n"),
  };
  std::vector<std::pair<std::string, struct stat>> before;
  for (const fs::path& file : files) {
    struct stat info {};
    ::stat(file.c_str(), &info);
    before.emplace_back(readFile(file), info);
  }
  MailStore store;
  for (const fs::path& folder : {dir / "Inbox", dir / "Box", dir / "single.eml"})
    for (const MessageRef& ref : store.messagesIn(folder))
      toFilterForm(store.locate(store.parseUri(ref.uri)));

  for (std::size_t i = 0; i < files.size(); ++i) {
    SCOPED_TRACE(files[i].string());
    struct stat info {};
    ::stat(files[i].c_str(), &info);
    EXPECT_EQ(readFile(files[i]), before[i].first);
    EXPECT_EQ(info.st_mtim.tv_sec, before[i].second.st_mtim.tv_sec);
    EXPECT_EQ(info.st_mtim.tv_nsec, before[i].second.st_mtim.tv_nsec);
  }
  EXPECT_EQ(std::distance(fs::directory_iterator(dir / "Box/new"), fs::directory_iterator()), 1);
}

// The C library unloads a converter's module a few closes of other converters after its own
// last close; mail in a mix of character sets would load the same modules again and again.
TEST(FilterForm, ConvertersOfTheCharsetsMetStayLoadedUpToABound) {
  auto loaded = [](const char* module) {
    return readFile("/proc/self/maps").find(std::string("/gconv/") + module) != std::string::npos;
  };
  auto closeOthers = [] {
    for (const char* charset : {"ISO-8859-5", "ISO-8859-7", "ISO-8859-9", "CP1250", "CP1257"}) {
      iconv_t converter = iconv_open("UTF-8", charset);
      ASSERT_NE(converter, reinterpret_cast<iconv_t>(-1)) << charset;
      iconv_close(converter);
    }
  };
  FilterForm body = toFilterForm("Content-Type: text/plain; charset=KOI8-R\n\n\xF0\xD2\xC9\n");
  EXPECT_EQ(body.body.view(), "\xD0\x9F\xD1\x80\xD0\xB8\n");
  FilterForm header = toFilterForm("Subject: =?ISO-8859-2?Q?=B1?=\n\nx\n");
  EXPECT_EQ(valueOf(header, "Subject"), "\xC4\x85");
  closeOthers();
  EXPECT_TRUE(loaded("KOI8-R.so"));
  EXPECT_TRUE(loaded("ISO8859-2.so"));

  // Made-up names and the large East Asian tables are not kept, and however many charsets come,
  // only the first few are.
  std::size_t before = CharsetConverters::kept();
  CharsetConverters::keepForEncodedWords("=?no such charset?Q?x?= =?=?x=? =?KOI8-R?Z?x?=");
  CharsetConverters::keep("x-not-a-charset");
  CharsetConverters::keep("GB2312");
  EXPECT_EQ(CharsetConverters::kept(), before);
  for (int part = 1; part <= 16; ++part)
    CharsetConverters::keep("ISO-8859-" + std::to_string(part));
  EXPECT_EQ(CharsetConverters::kept(), CharsetConverters::kMaxKept);
}
