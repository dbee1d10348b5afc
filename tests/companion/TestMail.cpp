#include "TestMail.h"

#include <array>
#include <cstdlib>
#include <fstream>
#include <unistd.h>

namespace fs = std::filesystem;

namespace quellbark::test {

namespace {

constexpr std::array spamWords{"viagra", "casino",  "lottery",   "winner", "cheap",    "pills",
                               "bonus",  "jackpot", "unclaimed", "prize",  "discount", "crypto"};
constexpr std::array goodWords{"meeting", "agenda", "review", "minutes",  "project",   "schedule",
                               "budget",  "draft",  "report", "deadline", "colleague", "team"};

template <std::size_t N>
std::string body(std::array<char const*, N> const& words, int n) {
  std::string text;
  for (int line = 0; line < 6; ++line) {
    for (std::size_t w = 0; w < 8; ++w) {
      text += words[(static_cast<std::size_t>(n + line) * 7 + w * 5) % N];
      text += ' ';
    }
    text += "ref" + std::to_string(n * 10 + line) + "\n";
  }
  return text;
}

} // namespace

std::string spamMessage(int n) {
  return "From: promo" + std::to_string(n) + "@offers.example\nSubject: You are a winner " +
         std::to_string(n) + " cheap casino bonus\n\n" + body(spamWords, n);
}

std::string goodMessage(int n) {
  return "From: alice" + std::to_string(n) + "@work.example\nSubject: Project review agenda " +
         std::to_string(n) + "\n\n" + body(goodWords, n);
}

TempFolder::TempFolder() {
  std::string tmpl = (fs::temp_directory_path() / "quellbark-test-XXXXXX").string();
  if (::mkdtemp(tmpl.data()) != nullptr) {
    mPath = tmpl;
  }
}

TempFolder::~TempFolder() {
  std::error_code ec;
  fs::remove_all(mPath, ec);
}

fs::path writeScript(fs::path const& file, std::string const& body) {
  fs::path const temp = file.string() + ".new";
  {
    std::ofstream out(temp);
    out << "#!/bin/sh\n" << body << "\n";
  }
  fs::permissions(temp, fs::perms::owner_all);
  fs::rename(temp, file); // atomic, so a running engine never sees half a script
  return file;
}

} // namespace quellbark::test
