// The plain text form: the framework checker's own lines, written as they come.
#include "driver/formats.h"
#include "engine/check.h"
#include "platform/tbx.h"

namespace driver {

void writeTextFileStart(std::string_view path) { tbx::cout << "[cfgcheck]: checking file " << path << ' '; }

void writeTextVerdict(const engine::FileVerdict& v) {
  if (v.ok) {
    tbx::cout << " OK, time=" << v.ms << "[ms]" << tbx::endl;
  } else {
    tbx::cout << " FAILED" << tbx::endl;
    tbx::cout << "\t\t\t reason = " << v.reason << tbx::endl;
  }
}

void writeTextContentStart(std::string_view path) {
  tbx::cout << "[cfgcheck]: checking content of file " << path << tbx::endl;
}

void writeText(const support::Finding& f) {
  tbx::ostream& out = f.onStderr ? tbx::cerr : tbx::cout;
  if (!f.aside.empty()) out << f.aside << tbx::endl;
  out << f.mark << f.message << tbx::endl;
  // not flushed: whatever comes next carries it out
  if (!f.trailer.empty()) out << f.trailer << '\n';
}

void writeTextLine(std::string_view line) { tbx::cout << line << tbx::endl; }

void writeTextTransportLine(std::string_view line) { tbx::cerr << line << tbx::endl; }

}  // namespace driver
