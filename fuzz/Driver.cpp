#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <vector>

// Runs a target without libFuzzer, with whatever compiler: all seeds, and so many inputs made of
// them, always the same ones. It looks for nothing new; it shows that a target and its seeds stand.
//   TARGET [-runs=NUMBER] [-seed=NUMBER] [-artifact_prefix=PATH] FILE-OR-FOLDER...
// Options and what is printed are libFuzzer's as far as they go; others are passed over.

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);
extern "C" [[gnu::weak]] int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" [[gnu::weak]] void __sanitizer_set_death_callback(void (*callback)());

namespace {

struct Options {
  std::size_t runs = 0;
  std::size_t mostBytes = 4096;
  unsigned seed = 1;
  std::string prefix;
  std::vector<std::filesystem::path> paths;

  static bool has(std::string_view argument, std::string_view name, std::string_view& value) {
    if (!argument.starts_with(name)) return false;
    value = argument.substr(name.size());
    return true;
  }
  void add(std::string_view argument) {
    std::string_view value;
    auto const number = [&] { return std::stoul(std::string(value)); };
    if (has(argument, "-runs=", value)) {
      runs = number();
    } else if (has(argument, "-max_len=", value)) {
      mostBytes = number();
    } else if (has(argument, "-seed=", value)) {
      seed = static_cast<unsigned>(number());
    } else if (has(argument, "-artifact_prefix=", value)) {
      prefix = value;
    } else if (!argument.starts_with('-')) {
      paths.emplace_back(argument);
    }
  }
};

Options options;
std::string input;  // that is run now

/// Keeps the input at which the target stopped.
void keepFinding() {
  std::string const path = options.prefix + "crash";
  if (std::FILE* const file = std::fopen(path.c_str(), "wb")) {
    std::fwrite(input.data(), 1, input.size(), file);
    std::fclose(file);
    std::fprintf(stderr, "the input is kept in %s\n", path.c_str());
  }
}

void onAbort(int signal) {
  keepFinding();
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

void run() {
  // A copy of the very size: reading beyond it shows.
  std::vector<std::uint8_t> const bytes(input.begin(), input.end());
  LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

/// In the order of their names, so that every machine makes the same inputs of them.
std::vector<std::string> seedsIn(std::vector<std::filesystem::path> const& paths) {
  std::set<std::filesystem::path> files;
  for (auto const& path : paths) {
    if (!std::filesystem::is_directory(path)) {
      files.insert(path);
      continue;
    }
    for (auto const& entry : std::filesystem::directory_iterator(path)) files.insert(entry.path());
  }
  std::vector<std::string> seeds;
  for (auto const& file : files) {
    std::ifstream in(file, std::ios::binary);
    if (!in) {
      std::fprintf(stderr, "%s: cannot be read\n", file.c_str());
      std::exit(1);
    }
    seeds.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  return seeds;
}

/// Makes inputs of seeds: bytes are changed, put in and taken out, pieces of any seed copied in.
class Mutator {
 public:
  Mutator(std::vector<std::string> const& seeds, unsigned seed) : seeds_(seeds), random_(seed) {}

  void next(std::string& text, std::size_t mostBytes) {
    text = seeds_[below(seeds_.size())];
    for (std::size_t rounds = 1 + below(4); rounds > 0; --rounds) change(text);
    if (text.size() > mostBytes) text.resize(mostBytes);
  }

 private:
  // The standard's distributions differ from library to library.
  std::size_t below(std::size_t count) { return random_() % count; }

  std::string pieceOf(std::string const& text) {
    std::size_t const begin = below(text.size() + 1);
    return text.substr(begin, 1 + below(16));
  }
  void change(std::string& text) {
    std::size_t const at = below(text.size() + 1);
    switch (below(6)) {
      case 0:
        return void(text.erase(at, 1 + below(8)));
      case 1:
        return void(text.insert(at, 1, static_cast<char>(below(256))));
      case 2:
        return void(text.insert(at, pieceOf(text)));
      case 3:
        return void(text.insert(at, pieceOf(seeds_[below(seeds_.size())])));
      case 4:
        if (at < text.size()) text[at] = static_cast<char>(text[at] ^ 1 << below(8));
        return;
      default:  // another printable character, as texts have
        if (at < text.size()) text[at] = static_cast<char>(' ' + below(95));
        return;
    }
  }

  std::vector<std::string> const& seeds_;
  std::mt19937 random_;
};

}  // namespace

int main(int argc, char** argv) {
  if (LLVMFuzzerInitialize) LLVMFuzzerInitialize(&argc, &argv);
  for (int i = 1; i < argc; ++i) options.add(argv[i]);
  if (__sanitizer_set_death_callback) __sanitizer_set_death_callback(keepFinding);
  std::signal(SIGABRT, onAbort);
  auto const seeds = seedsIn(options.paths);
  if (seeds.empty()) {
    std::fputs("there is no seed\n", stderr);
    return 1;
  }
  for (std::string const& seed : seeds) {
    input = seed;
    run();
  }
  Mutator mutator(seeds, options.seed);
  for (std::size_t i = 0; i < options.runs; ++i) {
    mutator.next(input, options.mostBytes);
    run();
  }
  std::fprintf(stderr, "%zu seeds and %zu inputs made of them\n", seeds.size(), options.runs);
}
