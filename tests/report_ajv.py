#!/usr/bin/env python3
"""The JSON report's schema as ajv (npm, installed under NPM_PREFIX when missing)
reads it: it must compile in strict mode, and the reports of the examples must
pass it. Skips (77) when npm or the package cannot be had.

    report_ajv.py CFGCHECK REPO_ROOT NPM_PREFIX
"""
import os
import subprocess
import sys
import tempfile

sys.dont_write_bytecode = True  # keep the source tree clean
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import npm_package  # noqa: E402

EXAMPLES = ("examples/sound", "examples/broken")

# argv: ajv's folder, the schema, then the reports. strict mode makes every
# doubtful keyword a compile error rather than a warning.
VALIDATE = r"""
const [ajvDir, schemaPath, ...reports] = process.argv.slice(1);
const Ajv2020 = require(ajvDir + "/dist/2020").default;
const fs = require("fs");
const read = (p) => JSON.parse(fs.readFileSync(p, "utf8"));
let validate;
try {
  validate = new Ajv2020({strict: true, allErrors: true}).compile(read(schemaPath));
} catch (e) {
  console.log(`FAILED ${schemaPath}: ${e.message}`);
  process.exit(1);
}
let failed = 0;
for (const report of reports) {
  if (!validate(read(report))) {
    failed++;
    console.log(`FAILED ${report}\n  ` + validate.errors.map((e) => `${e.instancePath} ${e.message}`).join("\n  "));
  }
}
console.log(`${reports.length - failed} passed, ${failed} failed`);
process.exit(failed ? 1 : 0);
"""


def main():
    binary, root, prefix = os.path.abspath(sys.argv[1]), sys.argv[2], os.path.abspath(sys.argv[3])
    ajv = npm_package.install(prefix, "ajv", "ajv/dist/2020.js")
    if ajv is None:
        return 77
    with tempfile.TemporaryDirectory() as work:
        reports = []
        for folder in EXAMPLES:
            reports.append(os.path.join(work, os.path.basename(folder) + ".json"))
            with open(reports[-1], "wb") as out:
                subprocess.run([binary, "--format", "json", "--dir", ".", "--verbose", "--transport"],
                               cwd=os.path.join(root, folder), stdout=out, stderr=subprocess.DEVNULL, timeout=60)
        schema = os.path.join(root, "schemas", "cfgcheck-report.schema.json")
        return subprocess.run(["node", "-e", VALIDATE, os.path.dirname(os.path.dirname(ajv)), schema] + reports,
                              timeout=120).returncode


if __name__ == "__main__":
    sys.exit(main())
