// The bundle shows the host exactly one name.
#include "HostTestSupport.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <sstream>

namespace {

TEST(BundleExports, OnlyNSGetModuleIsExported) {
  std::string command = "nm -D --defined-only '" + testsupport::bundlePath() + "' 2>&1";
  FILE* pipe = popen(command.c_str(), "r");
  ASSERT_NE(pipe, nullptr);
  std::string output;
  char buffer[4096];
  while (std::size_t n = fread(buffer, 1, sizeof buffer, pipe))
    output.append(buffer, n);
  ASSERT_EQ(pclose(pipe), 0) << output;

  std::vector<std::string> names;
  std::istringstream lines(output);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream fields(line);
    std::string address, type, name;
    fields >> address >> type >> name;
    names.push_back(name);
  }
  EXPECT_EQ(names, std::vector<std::string>{"NSGetModule"}) << output;
}

} // namespace
