#pragma once

#include <cstdio>
#include <fstream>
#include <string>

#include <unistd.h>

// A file in a fresh scratch directory, removed with it.
struct ScratchDir {
  std::string path;
  ScratchDir() {
    char tmpl[] = "/tmp/cfgcheck-unit-XXXXXX";
    path = mkdtemp(tmpl);
  }
  ~ScratchDir() { std::system(("rm -rf '" + path + "'").c_str()); }
  std::string write(const std::string& name, const std::string& content) const {
    std::string file = path + "/" + name;
    std::ofstream(file, std::ios::binary) << content;
    return file;
  }
};
