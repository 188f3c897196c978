// The main() a fuzz target is linked with when libFuzzer is not: it calls
// LLVMFuzzerTestOneInput once on each file named on the command line and on
// each file of each directory named there (not recursively, in name order),
// so that every compiler builds the targets and the test run replays their
// corpora. Exits 1 when a path cannot be read or nothing was replayed.
//
//   <target> fuzz/corpus/<target> [more files or directories...]
// 32-bit targets: without 64-bit file offsets, readdir and stat fail on
// file systems with large inode numbers (as under qemu on a 64-bit host).
#define _FILE_OFFSET_BITS 64

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

bool ReadFile(const std::string& path, std::vector<uint8_t>* bytes) {
  FILE* f = std::fopen(path.c_str(), "rb");
  if (!f) return false;
  bytes->clear();
  uint8_t chunk[4096];
  size_t n;
  while ((n = std::fread(chunk, 1, sizeof chunk, f)) > 0) bytes->insert(bytes->end(), chunk, chunk + n);
  const bool ok = !std::ferror(f);
  std::fclose(f);
  return ok;
}

// The regular files of path: itself, or a directory's entries in name order.
bool ListInputs(const std::string& path, std::vector<std::string>* files) {
  struct stat st;
  if (stat(path.c_str(), &st) != 0) return false;
  if (!S_ISDIR(st.st_mode)) {
    files->push_back(path);
    return true;
  }
  DIR* dir = opendir(path.c_str());
  if (!dir) return false;
  std::vector<std::string> names;
  while (const dirent* entry = readdir(dir)) {
    const std::string full = path + "/" + entry->d_name;
    if (stat(full.c_str(), &st) == 0 && S_ISREG(st.st_mode)) names.push_back(full);
  }
  closedir(dir);
  std::sort(names.begin(), names.end());
  files->insert(files->end(), names.begin(), names.end());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> files;
  for (int i = 1; i < argc; ++i) {
    if (!ListInputs(argv[i], &files)) {
      std::fprintf(stderr, "replay: cannot read %s\n", argv[i]);
      return 1;
    }
  }
  std::vector<uint8_t> bytes;
  for (const std::string& file : files) {
    if (!ReadFile(file, &bytes)) {
      std::fprintf(stderr, "replay: cannot read %s\n", file.c_str());
      return 1;
    }
    std::printf("replay: %s (%zu bytes)\n", file.c_str(), bytes.size());
    std::fflush(stdout);
    // libFuzzer never passes a null pointer, even for an empty input.
    static const uint8_t kNothing = 0;
    LLVMFuzzerTestOneInput(bytes.empty() ? &kNothing : bytes.data(), bytes.size());
  }
  std::printf("replay: %zu inputs\n", files.size());
  return files.empty() ? 1 : 0;
}
