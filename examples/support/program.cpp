#include "support/program.h"

#include <iostream>
#include <new>
#include <system_error>

namespace example {
namespace {

namespace fs = std::filesystem;

Arguments parse(const std::vector<std::string>& words,
                const std::vector<std::string>& photographs) {
  Arguments arguments;
  arguments.output = EXAMPLE_OUTPUT_FOLDER;
  for (size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i];
    if (word == "-o" || word == "--output") {
      if (++i == words.size()) throw Error(word + " needs a folder");
      arguments.output = words[i];
    } else if (word.size() > 1 && word[0] == '-') {
      throw Error("unknown option " + word + "; --help tells the usage");
    } else {
      arguments.pictures.emplace_back(word);
    }
  }
  if (arguments.pictures.empty()) {
    for (const std::string& name : photographs) {
      arguments.pictures.push_back(shipped(name));
    }
  }
  return arguments;
}

void makeFolder(fs::path& folder) {
  std::error_code failure;
  fs::create_directories(folder, failure);
  if (failure) throw Error(folder.string() + ": " + failure.message());
  folder = fs::canonical(folder);
}

}  // namespace

int run(int argc, char** argv, const std::string& purpose,
        const std::vector<std::string>& photographs,
        const std::function<void(const Arguments&)>& work) {
  const std::string program = fs::path(argv[0]).filename().string();
  const std::vector<std::string> words(argv + 1, argv + argc);
  for (const std::string& word : words) {
    if (word == "-h" || word == "--help") {
      std::cout << purpose << "\nUsage: " << program << " [-o FOLDER] [PICTURE.png...]\n"
                << "  -o FOLDER  where the results go; " << EXAMPLE_OUTPUT_FOLDER
                << " if not given\n"
                << "  PICTURE    any PNG; photographs of " << EXAMPLE_IMAGES_FOLDER
                << " if none is given\n";
      return 0;
    }
  }
  try {
    Arguments arguments = parse(words, photographs);
    makeFolder(arguments.output);
    work(arguments);
    return 0;
  } catch (const std::bad_alloc&) {
    std::cerr << program << ": not enough memory\n";
  } catch (const std::exception& error) {
    std::cerr << program << ": " << error.what() << '\n';
  }
  return 1;
}

fs::path shipped(const std::string& name) { return fs::path(EXAMPLE_IMAGES_FOLDER) / name; }

void check(NuvStatus status, const std::string& call) {
  if (status < nuvStatusOk) throw Error(call + " returned status " + std::to_string(status));
}

}  // namespace example
