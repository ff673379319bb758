// Runs a harness without a fuzzing engine: over files, over all files of folders, and over changed
// copies of them, the same ones each time.
//
//   x_fuzzer [--mutations N] [--dictionary FILE] FILE|FOLDER...
//
// An input that ends the process is kept as "failed-input" in the working folder.
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "harness.h"
#include "support/random.h"

// Sanitizers call it before they end the process.
extern "C" __attribute__((weak)) void __sanitizer_set_death_callback(void (*callback)());

namespace {

using Input = std::vector<uint8_t>;
using velmora::test::Random;
namespace fs = std::filesystem;

[[noreturn]] void fail(const std::string& text) {
  std::fprintf(stderr, "error: %s\n", text.c_str());
  std::exit(2);
}

Input current;

void keepCurrent() {
  std::ofstream("failed-input", std::ios::binary)
      .write(reinterpret_cast<const char*>(current.data()), std::ssize(current));
  std::fputs("the input is kept as failed-input\n", stderr);
}

void onSignal(int signal) {
  keepCurrent();
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

void run(const Input& input) {
  current = input;
  // A block of exactly this size: the address sanitizer sees a byte too far.
  const auto exact = std::make_unique<uint8_t[]>(input.size());
  std::copy(input.begin(), input.end(), exact.get());
  LLVMFuzzerTestOneInput(exact.get(), input.size());
}

Input readInput(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) fail(path.string() + ": cannot open");
  return {std::istreambuf_iterator<char>(file), {}};
}

/// All files below the paths, in an order that does not depend on the system.
std::vector<Input> readInputs(const std::vector<std::string>& paths) {
  std::vector<Input> inputs;
  for (const std::string& path : paths) {
    std::vector<fs::path> files = {path};
    if (fs::is_directory(path)) {
      files.clear();
      for (const auto& entry : fs::recursive_directory_iterator(path))
        if (entry.is_regular_file()) files.push_back(entry.path());
      std::sort(files.begin(), files.end());
    }
    for (const fs::path& file : files)
      inputs.push_back(readInput(file));
  }
  return inputs;
}

/// The words of a dictionary: one a line, between quotes, with \\, \" and \xAB.
std::vector<Input> readWords(const std::string& path) {
  std::ifstream file(path);
  if (!file) fail(path + ": cannot open");
  std::vector<Input> words;
  for (std::string line; std::getline(file, line);) {
    const std::size_t begin = line.find('"');
    const std::size_t end = line.rfind('"');
    if (line.empty() || line[0] == '#' || begin == end) continue;
    Input word;
    for (std::size_t i = begin + 1; i < end; ++i) {
      if (line[i] != '\\') {
        word.push_back(static_cast<uint8_t>(line[i]));
      } else if (line[++i] == 'x') {
        word.push_back(static_cast<uint8_t>(std::stoi(line.substr(i + 1, 2), nullptr, 16)));
        i += 2;
      } else {
        word.push_back(static_cast<uint8_t>(line[i]));
      }
    }
    words.push_back(std::move(word));
  }
  return words;
}

/// Some bytes replaced by a word, any byte, bytes from elsewhere or nothing, or the end cut off.
void mutate(Random& random, const std::vector<Input>& words, Input& input) {
  const auto from = [&](const Input& source, std::size_t at, std::size_t count) {
    const auto begin = source.begin() + static_cast<std::ptrdiff_t>(at);
    return Input(begin, begin + static_cast<std::ptrdiff_t>(std::min(count, source.size() - at)));
  };
  const std::size_t at = random.index(input.size() + 1);
  const std::size_t removed = std::min(random.index(8), input.size() - at);
  Input inserted;
  switch (random.index(4)) {
    case 0:
      if (!words.empty()) inserted = words[random.index(words.size())];
      break;
    case 1:
      inserted = random.bytes(1);
      break;
    case 2:
      inserted = from(input, random.index(input.size() + 1), random.index(40));
      break;
    default:
      break;
  }
  if (random.index(10) == 0) input.resize(at);
  // Formats with positions fall apart when everything behind moves: mostly in place.
  const bool inPlace = random.index(4) != 0;
  const std::size_t left = input.size() - std::min(at, input.size());
  const std::size_t gone = std::min(left, inPlace ? inserted.size() : removed);
  const auto place = input.begin() + static_cast<std::ptrdiff_t>(std::min(at, input.size()));
  const auto behind = input.erase(place, place + static_cast<std::ptrdiff_t>(gone));
  input.insert(behind, inserted.begin(), inserted.end());
}

}  // namespace

int main(int count, char** arguments) {
  long mutations = 0;
  std::vector<Input> words;
  std::vector<std::string> paths;
  for (int i = 1; i < count; ++i) {
    const std::string argument = arguments[i];
    const bool takesValue = argument == "--mutations" || argument == "--dictionary";
    if (!takesValue) {
      paths.push_back(argument);
      continue;
    }
    if (++i == count) fail(argument + " wants a value");
    if (argument == "--mutations") mutations = std::atol(arguments[i]);
    if (argument == "--dictionary") words = readWords(arguments[i]);
  }
  const std::vector<Input> inputs = readInputs(paths);
  if (inputs.empty()) fail("no input: give files or folders");
  std::signal(SIGABRT, onSignal);
  std::signal(SIGFPE, onSignal);
  if (__sanitizer_set_death_callback != nullptr) {
    __sanitizer_set_death_callback(keepCurrent);
  } else {
    std::signal(SIGSEGV, onSignal);
  }

  for (const Input& input : inputs)
    run(input);
  Random random(20150302);
  for (long i = 0; i < mutations; ++i) {
    Input input = inputs[random.index(inputs.size())];
    for (int64_t edits = random.range(1, 6); edits > 0; --edits)
      mutate(random, words, input);
    run(input);
  }
  std::fprintf(stderr, "%zu inputs and %ld changed ones\n", inputs.size(), mutations);
  return 0;
}
