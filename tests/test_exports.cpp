// The symbol table of the shared library: what it shows is a contract, and one stray symbol can clash with a host's.
#include <set>
#include <sstream>

#include "support.h"

namespace {

TEST(Exports, AreTheInterfaceAndNothingElse) {
  std::set<std::string> old = {"createHashEx", "SUPPORTED_FORMAT_NUM", "convertError", "execAlgorithm",
                               "reentrantCallCreateHash"};
  if (KMHASH_WITH_JNI) old.insert("printException");
  for (const char* name : {"createHash", "createQuickFileHash", "compareHash", "compareBetweenHash",
                           "getLibraryMajorVersion", "getLibraryMinorVersion", "getAlgorithmMajorVersion",
                           "getAlgorithmMinorVersion", "getAlgorithmMajorVersionFromHash",
                           "getAlgorithmMinorVersionFromHash", "getAlgorithmId", "getAlgorithmIdFromHash"}) {
    old.insert(name);
    if (KMHASH_WITH_JNI) old.insert(std::string("Java_com_kelo_kmhash_KeloMediaHashGenerator_") + name);
  }
  std::set<std::string> expected = {"kmhashAlgorithmName@@KMHASH_5_4", "kmhashResultName@@KMHASH_5_4"};
  for (const char* name : {"algorithmName", "resultName", "createHash", "compareHash"}) {
    if (KMHASH_WITH_JNI) expected.insert(std::string("Java_com_kelo_kmhash_Natives_") + name + "@@KMHASH_5_4");
  }
  for (const std::string& name : old) expected.insert(name + "@@KMHASH_5");
  // num: value size type bind vis ndx name; the version's own symbol ("KMHASH_5") is absolute.
  std::istringstream defined(
      support::outputOf("LC_ALL=C readelf --dyn-syms --wide '" KMHASH_LIBRARY
                        "' | awk '$1 ~ /^[0-9]+:$/ && $5 != \"LOCAL\" && $7 != \"UND\" && $7 != \"ABS\" "
                        "{ print $8 }'"));
  EXPECT_EQ(std::set<std::string>(std::istream_iterator<std::string>(defined), {}), expected);
}

TEST(Exports, SonameCarriesTheMajorVersion) {
  EXPECT_NE(support::outputOf("LC_ALL=C readelf --dynamic '" KMHASH_LIBRARY "'").find("[libKMHashGenerator.so.5]"),
            std::string::npos);
}

}  // namespace
