// The symbol table of the shared library: what it shows is a contract, and one stray symbol can clash with a host's.
#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <string>

namespace {

std::string outputOf(const std::string& command) {
  std::string output;
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return output;
  for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) output += static_cast<char>(c);
  pclose(pipe);
  return output;
}

// Names of the defined dynamic symbols, without the version's own ("KMHASH_5"): num value size type bind vis ndx name.
std::set<std::string> exportedNames() {
  const std::string table = outputOf("LC_ALL=C readelf --dyn-syms --wide '" KMHASH_LIBRARY "'");
  std::set<std::string> names;
  for (size_t begin = 0; begin < table.size();) {
    const size_t end = table.find('\n', begin);
    char binding[16], section[16], name[256];
    const std::string line = table.substr(begin, end - begin);
    if (std::sscanf(line.c_str(), " %*d: %*s %*s %*s %15s %*s %15s %255[^@ ]", binding, section, name) == 3 &&
        std::string(binding) != "LOCAL" && std::string(section) != "UND" && std::string(section) != "ABS") {
      names.insert(name);
    }
    begin = end == std::string::npos ? table.size() : end + 1;
  }
  return names;
}

TEST(Exports, AreTheInterfaceAndNothingElse) {
  std::set<std::string> expected = {"createHash",
                                    "createHashEx",
                                    "createQuickFileHash",
                                    "compareHash",
                                    "compareBetweenHash",
                                    "getAlgorithmId",
                                    "getAlgorithmIdFromHash",
                                    "getAlgorithmMajorVersion",
                                    "getAlgorithmMajorVersionFromHash",
                                    "getAlgorithmMinorVersion",
                                    "getAlgorithmMinorVersionFromHash",
                                    "getLibraryMajorVersion",
                                    "getLibraryMinorVersion",
                                    "SUPPORTED_FORMAT_NUM",
                                    "convertError",
                                    "execAlgorithm",
                                    "reentrantCallCreateHash"};
  if (KMHASH_WITH_JNI) {
    expected.insert("printException");
    for (const char* method : {"createHash", "createQuickFileHash", "compareHash", "compareBetweenHash",
                               "getLibraryMajorVersion", "getLibraryMinorVersion", "getAlgorithmMajorVersion",
                               "getAlgorithmMinorVersion", "getAlgorithmMajorVersionFromHash",
                               "getAlgorithmMinorVersionFromHash", "getAlgorithmId", "getAlgorithmIdFromHash"}) {
      expected.insert(std::string("Java_com_kelo_kmhash_KeloMediaHashGenerator_") + method);
    }
  }
  EXPECT_EQ(exportedNames(), expected);
}

TEST(Exports, SonameCarriesTheMajorVersion) {
  EXPECT_NE(outputOf("LC_ALL=C readelf --dynamic '" KMHASH_LIBRARY "'").find("[libKMHashGenerator.so.5]"),
            std::string::npos);
}

}  // namespace
