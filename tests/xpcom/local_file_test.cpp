// Local files on real paths under a scratch folder.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "nsCOMPtr.h"
#include "nsILocalFile.h"
#include "nsXPCOM.h"

namespace {

namespace fs = std::filesystem;

class LocalFileTest : public ::testing::Test {
protected:
  void SetUp() override {
    mRoot = fs::temp_directory_path() / ("xpcom-file-" + std::to_string(getpid()));
    fs::remove_all(mRoot);
    fs::create_directories(mRoot);
  }
  void TearDown() override { fs::remove_all(mRoot); }

  nsCOMPtr<nsILocalFile> At(const std::string& aPath) {
    nsCOMPtr<nsILocalFile> file;
    EXPECT_EQ(NS_NewNativeLocalFile(nsCString(aPath.c_str()), PR_FALSE, getter_AddRefs(file)),
              NS_OK)
        << aPath;
    return file;
  }
  static std::string PathOf(nsIFile* aFile) {
    nsCString path;
    aFile->GetNativePath(path);
    return path.get();
  }
  static bool Is(nsresult (nsIFile::*aTest)(PRBool*), nsIFile* aFile) {
    PRBool answer = PR_FALSE;
    (aFile->*aTest)(&answer);
    return answer;
  }

  fs::path mRoot;
};

TEST_F(LocalFileTest, AcceptsOnlyAbsolutePaths) {
  nsILocalFile* file = reinterpret_cast<nsILocalFile*>(0x1);
  for (const char* bad : {"relative/path", "./x", "~/x"}) {
    EXPECT_EQ(NS_NewNativeLocalFile(nsCString(bad), PR_FALSE, &file),
              NS_ERROR_FILE_UNRECOGNIZED_PATH)
        << bad;
    EXPECT_EQ(file, nullptr);
  }
  EXPECT_EQ(PathOf(At("/tmp///")), "/tmp") << "trailing slashes go";
  EXPECT_EQ(PathOf(At("/")), "/");

  // An empty path makes a file object that is set up later.
  nsCOMPtr<nsILocalFile> later = At("");
  PRBool exists;
  EXPECT_EQ(later->Exists(&exists), NS_ERROR_NOT_INITIALIZED);
  EXPECT_EQ(later->InitWithNativePath(nsCString(mRoot.c_str())), NS_OK);
  EXPECT_EQ(later->Exists(&exists), NS_OK);
  EXPECT_TRUE(exists);
}

TEST_F(LocalFileTest, AnswersQuestionsAboutRealFiles) {
  std::ofstream(mRoot / "mail.eml") << "Subject: hi\n\nbody\n";
  fs::create_symlink(mRoot / "mail.eml", mRoot / "link");
  nsCOMPtr<nsILocalFile> dir = At(mRoot.string());
  nsCOMPtr<nsILocalFile> mail = At((mRoot / "mail.eml").string());
  nsCOMPtr<nsILocalFile> link = At((mRoot / "link").string());
  nsCOMPtr<nsILocalFile> none = At((mRoot / "none").string());

  EXPECT_TRUE(Is(&nsIFile::Exists, mail) && Is(&nsIFile::IsFile, mail));
  EXPECT_TRUE(Is(&nsIFile::IsDirectory, dir) && Is(&nsIFile::IsSymlink, link));
  EXPECT_TRUE(Is(&nsIFile::IsReadable, mail));
  EXPECT_FALSE(Is(&nsIFile::Exists, none) || Is(&nsIFile::IsDirectory, mail));
  EXPECT_FALSE(Is(&nsIFile::IsSymlink, mail) || Is(&nsIFile::IsHidden, mail));
  PRBool answer;
  EXPECT_EQ(none->IsFile(&answer), NS_ERROR_FILE_NOT_FOUND);

  PRInt64 size = 0;
  ASSERT_EQ(mail->GetFileSize(&size), NS_OK);
  EXPECT_EQ(size, 18);
  nsCString target;
  ASSERT_EQ(link->GetNativeTarget(target), NS_OK);
  EXPECT_EQ(std::string(target.get()), (mRoot / "mail.eml").string());

  nsCString leaf;
  mail->GetNativeLeafName(leaf);
  EXPECT_STREQ(leaf.get(), "mail.eml");
  PRBool contains = PR_FALSE;
  dir->Contains(mail, PR_FALSE, &contains);
  EXPECT_TRUE(contains);
  nsCOMPtr<nsILocalFile> sibling = At(mRoot.string() + "-other/x");
  dir->Contains(sibling, PR_TRUE, &contains);
  EXPECT_FALSE(contains) << "a name that merely starts the same is not inside";
}

TEST_F(LocalFileTest, NavigatesAndClonesWithoutEscapingTheTree) {
  nsCOMPtr<nsILocalFile> file = At(mRoot.string());
  for (const char* bad : {"..", ".", "a/b", ""})
    EXPECT_EQ(file->AppendNative(nsCString(bad)), NS_ERROR_FILE_UNRECOGNIZED_PATH) << bad;
  EXPECT_EQ(file->AppendRelativeNativePath(nsCString("a/../../etc")),
            NS_ERROR_FILE_UNRECOGNIZED_PATH);
  EXPECT_EQ(file->AppendRelativeNativePath(nsCString("/etc")), NS_ERROR_FILE_UNRECOGNIZED_PATH);
  EXPECT_EQ(PathOf(file), mRoot.string()) << "a refused step changes nothing";

  ASSERT_EQ(file->AppendRelativeNativePath(nsCString("profile/./Mail")), NS_OK);
  EXPECT_EQ(PathOf(file), (mRoot / "profile" / "Mail").string());

  nsCOMPtr<nsIFile> parent;
  ASSERT_EQ(file->GetParent(getter_AddRefs(parent)), NS_OK);
  EXPECT_EQ(PathOf(parent), (mRoot / "profile").string());
  nsCOMPtr<nsIFile> rootParent;
  EXPECT_EQ(At("/")->GetParent(getter_AddRefs(rootParent)), NS_OK);
  EXPECT_FALSE(rootParent);
  nsCOMPtr<nsIFile> topParent;
  At("/tmp")->GetParent(getter_AddRefs(topParent));
  EXPECT_EQ(PathOf(topParent), "/");

  // A clone is equal at first and independent afterwards.
  nsCOMPtr<nsIFile> copy;
  ASSERT_EQ(file->Clone(getter_AddRefs(copy)), NS_OK);
  PRBool equal = PR_FALSE;
  file->Equals(copy, &equal);
  EXPECT_TRUE(equal);
  copy->AppendNative(nsCString("child"));
  file->Equals(copy, &equal);
  EXPECT_FALSE(equal);
  EXPECT_EQ(PathOf(file), (mRoot / "profile" / "Mail").string());
}

TEST_F(LocalFileTest, CreatesMovesAndRemoves) {
  nsCOMPtr<nsILocalFile> dir = At((mRoot / "a" / "b").string());
  ASSERT_EQ(dir->Create(nsIFile::DIRECTORY_TYPE, 0700), NS_OK);
  PRUint32 mode = 0;
  dir->GetPermissions(&mode);
  EXPECT_EQ(mode, 0700u);
  EXPECT_EQ(dir->Create(nsIFile::DIRECTORY_TYPE, 0700), NS_ERROR_FILE_ALREADY_EXISTS);

  nsCOMPtr<nsILocalFile> file = At((mRoot / "a" / "b" / "training.dat").string());
  ASSERT_EQ(file->Create(nsIFile::NORMAL_FILE_TYPE, 0600), NS_OK);
  ASSERT_EQ(file->SetFileSize(10), NS_OK);
  PRInt64 size = 0;
  file->GetFileSize(&size);
  EXPECT_EQ(size, 10);

  nsCOMPtr<nsILocalFile> unique = At((mRoot / "a" / "b" / "training.dat").string());
  ASSERT_EQ(unique->CreateUnique(nsIFile::NORMAL_FILE_TYPE, 0600), NS_OK);
  EXPECT_EQ(PathOf(unique), (mRoot / "a" / "b" / "training-1.dat").string());

  nsCOMPtr<nsILocalFile> other = At(mRoot.string());
  ASSERT_EQ(file->MoveToNative(other, nsCString("moved.dat")), NS_OK);
  EXPECT_EQ(PathOf(file), (mRoot / "moved.dat").string());
  EXPECT_TRUE(fs::exists(mRoot / "moved.dat"));

  nsCOMPtr<nsILocalFile> top = At((mRoot / "a").string());
  EXPECT_EQ(top->Remove(PR_FALSE), NS_ERROR_FILE_DIR_NOT_EMPTY);
  EXPECT_EQ(top->Remove(PR_TRUE), NS_OK);
  EXPECT_FALSE(fs::exists(mRoot / "a"));
  EXPECT_EQ(top->Remove(PR_TRUE), NS_ERROR_FILE_NOT_FOUND);
}

} // namespace
