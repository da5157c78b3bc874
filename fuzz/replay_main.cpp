// Replays fuzz inputs (files, or every file in the folders given) through the fuzz entry point.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size);

int main(int argc, char** argv) {
  namespace fs = std::filesystem;
  std::vector<fs::path> files;
  for (int i = 1; i < argc; ++i) {
    const fs::path p(argv[i]);
    if (fs::is_directory(p)) {
      for (const auto& e : fs::recursive_directory_iterator(p))
        if (e.is_regular_file()) files.push_back(e.path());
    } else {
      files.push_back(p);
    }
  }
  if (files.empty()) {
    std::fprintf(stderr, "replay: no inputs\n");
    return 1;
  }
  for (const auto& f : files) {
    std::ifstream in(f, std::ios::binary);
    const std::string data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(data.data()), data.size());
  }
  std::printf("replayed %zu inputs\n", files.size());
  return 0;
}
