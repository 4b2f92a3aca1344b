// Feeds every file of a fuzz target's checked-in corpus (the folder VNXML_FUZZ_CORPUS_DIR)
// through the target's LLVMFuzzerTestOneInput, linked into the same test program: each input
// must come out without a crash, a leak or an exception, and the target aborts on whatever it
// does not allow. select_tests runs fuzz_select's corpus this way.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *AData, std::size_t ASize);

namespace {

TEST(FuzzCorpus, EveryInputPasses) {
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
    EXPECT_EQ(
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size()),
        0);
    ++files;
  }
  EXPECT_GE(files, VNXML_FUZZ_CORPUS_MIN);
}

}  // namespace
