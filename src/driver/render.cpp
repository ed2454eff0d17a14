#include "driver/render.h"

#include "platform/tbx.h"

namespace driver {

namespace {

bool gathers(support::Format f) {
  using support::Format;
  return f == Format::Json || f == Format::Sarif || f == Format::Junit || f == Format::Gitlab;
}

void transportLine(Output& out, std::string_view line) {
  switch (out.format) {
    case support::Format::Json:
      out.doc.transport = true;
      return;
    case support::Format::Text:
      writeTextTransportLine(line);
      return;
    default:
      tbx::cerr << inert(visible(line)) << tbx::endl;
  }
}

void finding(Output& out, support::Finding&& f) {
  // The transport report shows its failures in its table in the line formats too.
  if (f.onStderr && out.format != support::Format::Text && out.format != support::Format::Json)
    transportLine(out, std::string(f.mark) + f.message);
  switch (out.format) {
    case support::Format::Text:
      writeText(f);
      return;
    case support::Format::Gnu:
      writeGnu(f);
      return;
    case support::Format::Github:
      writeGithub(f);
      return;
    default:
      out.doc.findings.push_back(std::move(f));
  }
}

}  // namespace

engine::Sink sinkFor(Output& out) {
  engine::Sink sink;
  sink.finding = [&out](support::Finding&& f) { finding(out, std::move(f)); };
  sink.transportLine = [&out](std::string_view line) { transportLine(out, line); };
  sink.transportEntry = [&out](support::TransportEntry&& e) {
    (e.spawn ? out.doc.spawn : out.doc.single).push_back(std::move(e));
  };
  sink.contentStart = [&out](std::string_view path) {
    if (out.format == support::Format::Text) writeTextContentStart(path);
    for (FileRecord& r : out.doc.files)
      if (r.path == path) r.content = true;
  };
  if (out.format == support::Format::Text) {
    sink.fileStart = writeTextFileStart;
    sink.fileDone = writeTextVerdict;
    sink.textLine = writeTextLine;
  } else if (gathers(out.format)) {
    sink.fileDone = [&out](const engine::FileVerdict& v) {
      out.doc.files.push_back(FileRecord{std::string(v.path), v.ok, v.ms, std::string(v.reason), false});
    };
  }
  return sink;
}

void finish(Output& out, int status) {
  const char* summary = status == 0 ? "[cfgcheck] OK" : "[cfgcheck] with ERRORS";
  out.doc.status = status;
  switch (out.format) {
    case support::Format::Json:
      writeJson(out.doc, summary);
      break;
    case support::Format::Sarif:
      writeSarif(out.doc);
      break;
    case support::Format::Junit:
      writeJunit(out.doc);
      break;
    case support::Format::Gitlab:
      writeGitlab(out.doc);
      break;
    default:
      tbx::cout << summary << tbx::endl;
  }
}

}  // namespace driver
