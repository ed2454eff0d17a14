#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include "platform/tbx.h"

// Whole content of a file; empty when it cannot be read.
inline std::string readFile(const std::string& path) {
  std::stringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

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

// What cfgcheck's report streams print while it lives.
struct CapturedOutput {
  ScratchDir dir;
  int out = open((dir.path + "/out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  int err = open((dir.path + "/err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  CapturedOutput() {
    tbx::cout.redirect(out);
    tbx::cerr.redirect(err);
  }
  ~CapturedOutput() {
    tbx::cout.redirect(1);
    tbx::cerr.redirect(2);
    close(out);
    close(err);
  }
  std::string text(const char* stream) {
    tbx::cout.flush();
    tbx::cerr.flush();
    return readFile(dir.path + "/" + stream);
  }
};
