// The practical limit for loading and parsing: every file named on the command
// line, or every *.json of a directory given with --dir, through one reused DOM
// parser. Prints nothing but errors; exit status 1 when any file failed.
#include <simdjson.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

int main(int argc, char** argv) {
  std::vector<std::string> paths;
  int status = 0;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--dir") == 0 && i + 1 < argc) {
      const char* dir = argv[++i];
      std::error_code ec;
      for (std::filesystem::directory_iterator it(dir, ec), end; !ec && it != end; it.increment(ec)) {
        if (it->path().extension() == ".json") paths.push_back(it->path().string());
      }
      if (ec) {
        std::fprintf(stderr, "%s: %s\n", dir, ec.message().c_str());
        status = 1;
      }
    } else {
      paths.emplace_back(argv[i]);
    }
  }

  simdjson::dom::parser parser;
  for (const std::string& path : paths) {
    simdjson::dom::element root;
    simdjson::error_code error = parser.load(path).get(root);
    if (error) {
      std::fprintf(stderr, "%s: %s\n", path.c_str(), simdjson::error_message(error));
      status = 1;
    }
  }
  return status;
}
