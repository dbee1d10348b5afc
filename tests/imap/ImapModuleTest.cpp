// The IMAP client code is a module the host loads only when it talks IMAP: local folders are
// served without libetpan, GnuTLS or libsecret in the process, and a module that cannot be
// loaded is one clear line, not a crash.
#include "ImapTestSupport.h"

using namespace imaptest;

namespace {

const std::vector<std::string> kImapLibraries = {"mailhost-imap.so", "libetpan.so", "libgnutls.so",
                                                 "libsecret-1.so"};

// The libraries of kImapLibraries that the loader's trace (LD_DEBUG=files) names.
std::vector<std::string> imapLibrariesLoaded(const std::string& trace) {
  std::vector<std::string> loaded;
  for (const std::string& library : kImapLibraries)
    if (trace.find("file=" + library) != std::string::npos ||
        trace.find("/" + library + " [") != std::string::npos)
      loaded.push_back(library);
  return loaded;
}

class ImapModule : public ImapHostTest {
protected:
  fs::path localFolder() {
    return writeMail("Local", "From a@example.org Mon Jan  1 00:00:00 2024\n" + message("local"));
  }
};

TEST_F(ImapModule, LoadedOnlyForImapFolders) {
  replies({"score=shor:0"});
  fs::path local = localFolder();
  ProcessRun run = mailhost({"classify", local.string()}, {"LD_DEBUG=files"});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(imapLibrariesLoaded(run.err), std::vector<std::string>{});

  ASSERT_EQ(addAccount().exitCode, 0);
  server.deliver("INBOX", message("remote"));
  run = mailhost({"classify", folderUrl()}, {"LD_DEBUG=files"});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(imapLibrariesLoaded(run.err), kImapLibraries);
}

// A copy of the host in a folder of its own, with the platform libraries beside it but not the
// module: local folders work as ever, IMAP fails with one line naming the file and why.
TEST_F(ImapModule, MissingModuleIsOneLineAndLocalFoldersDoNotNotice) {
  fs::path build = sandbox::buildDirectory();
  fs::path copy = box.root / "copy";
  for (const char* folder : {"bin", "libexec", "lib"})
    fs::create_directories(copy / folder);
  for (const char* program : {"bin/mailhost", "libexec/mailhost"})
    fs::copy_file(build / program, copy / program);
  for (const char* library : {"libxpcom.so", "libCoreFoundation.so", "libCoreServices.so"})
    fs::create_symlink(build / "lib" / library, copy / "lib" / library);
  auto run = [&](const std::string& folder) {
    return sandbox::runToEnd({(copy / "bin/mailhost").string(), "--profile", profile.string(),
                              "--plugin", (build / "lib/QuellbarkPlugIn.so").string(), "classify",
                              folder},
                             box.environment(), box.root);
  };

  replies({"score=shor:0"});
  fs::path local = localFolder();
  ProcessRun localRun = run(local.string());
  EXPECT_EQ(localRun.exitCode, 0) << localRun.err;
  EXPECT_EQ(endtoend::linesOf(localRun.out).back(), "1 message: 0 junk, 1 good, 0 not classified");

  ASSERT_EQ(addAccount().exitCode, 0);
  server.deliver("INBOX", message("remote"));
  ProcessRun imapRun = run(folderUrl());
  EXPECT_EQ(imapRun.exitCode, 1);
  EXPECT_EQ(imapRun.out, "0 messages: 0 junk, 0 good, 0 not classified\n");
  std::vector<std::string> lines = endtoend::linesOf(imapRun.err);
  ASSERT_EQ(lines.size(), 1u) << imapRun.err;
  EXPECT_NE(lines[0].find("cannot load the IMAP support " +
                          (copy / "lib/mailhost-imap.so").string() +
                          ": cannot open shared object file: No such file or directory"),
            std::string::npos)
      << lines[0];
}

} // namespace
