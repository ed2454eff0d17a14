#include "driver/content_checks.h"

#include "driver/transport_report.h"
#include "framework/check_fw_config.h"
#include "servicemgr/check_sm_config.h"
#include "servicemgr/check_sm_restart_config.h"
#include "support/report.h"
#include "uvk/check_uvk_startup.h"

namespace driver {

namespace {
void announce(const std::string& path) { support::contentStart(path); }
}  // namespace

void runContentChecks(const KnownFiles& files, bool verbose, bool transport, bool& checkResult, bool& errorFlag) {
  // The framework file goes first: it declares the names the others refer to.
  const KnownFile& fw = files.framework;
  const KnownFile& sm = files.servicemgr;
  const KnownFile& restart = files.restart;
  const KnownFile& uvk = files.uvk;
  if (!fw.path.empty()) {
    announce(fw.path);
    if (framework::checkFWConfig(fw.path.c_str(), fw.top, verbose) != 0) checkResult = true;
  }
  if (!sm.path.empty() && !fw.path.empty()) {
    announce(sm.path);
    if (servicemgr::checkSMconfig(sm.path.c_str(), sm.top) != 0) checkResult = true;
  }
  if (!restart.path.empty() && !fw.path.empty()) {
    announce(restart.path);
    if (servicemgr::checkSMRestartconfig(restart.path.c_str(), restart.top) != 0) checkResult = true;
  }
  bool uvkFindings = false;
  if (!sm.path.empty() && !fw.path.empty() && !uvk.path.empty()) {
    announce(uvk.path);
    if (uvk::checkUVKStartup(uvk.path.c_str(), uvk.top) != 0) {
      errorFlag = true;
      uvkFindings = true;
    }
  }
  if (transport && !fw.path.empty() && !uvkFindings) {
    support::setFile(fw.path);  // the report's failures stand at process entries
    if (transportReport(fw.top) != 0) checkResult = true;
  }
}

}  // namespace driver
