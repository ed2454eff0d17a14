#include <csignal>

#include "driver/run.h"
#include "platform/tbx.h"

int main(int argc, char** argv) {
  // A reader that goes away (`| head`) must not end the run early or change its status.
  std::signal(SIGPIPE, SIG_IGN);
  tbx::GlobalErrorHandler::reserveEmergencyMemory(1 << 20);
  return driver::run(argc, argv);
}
