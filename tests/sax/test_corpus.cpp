// Feeds every file of the fuzz corpus through the fuzz target: each must come out without a
// crash, a leak or an exception other than the library's.
#include <filesystem>
#include <fstream>
#include <sstream>

#include "sax_test_util.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *AData, std::size_t ASize);

namespace {

TEST(SaxFuzzCorpus, EveryInputPasses) {
  const std::filesystem::path dir = VNXML_FUZZ_CORPUS_DIR;
  ASSERT_TRUE(std::filesystem::is_directory(dir)) << dir;
  int files = 0;
  for (const auto &entry : std::filesystem::directory_iterator(dir)) {
    if (!entry.is_regular_file()) continue;
    std::ifstream in(entry.path(), std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    const std::string bytes = ss.str();
    SCOPED_TRACE(entry.path().filename().string());
    EXPECT_NO_THROW(
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size()));
    ++files;
  }
  EXPECT_GE(files, 30);
}

}  // namespace
