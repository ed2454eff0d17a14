#!/usr/bin/env python3
"""Packages editors/vscode with its schemas into a .vsix (vsce, from npm) and
checks what VS Code will read in it: the manifest's activation, settings and
schemas, the client library, and an extension.js that Node.js can parse.

Usage: vscode_package.py SOURCE_DIR NPM_PREFIX; exit 77 when npm cannot have the tools."""
import json
import os
import shutil
import subprocess
import sys
import tempfile
import zipfile

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import npm_package  # noqa: E402


def main():
    source, prefix = sys.argv[1], os.path.abspath(sys.argv[2])
    vsce = npm_package.install(prefix, "@vscode/vsce", ".bin/vsce")
    if vsce is None:
        return 77
    with tempfile.TemporaryDirectory(prefix="cfgcheck-vscode-") as stage:
        shutil.copytree(os.path.join(source, "editors", "vscode"), stage, dirs_exist_ok=True)
        shutil.copytree(os.path.join(source, "schemas"), os.path.join(stage, "schemas"))
        if subprocess.run(["npm", "install", "--omit=dev"], cwd=stage, stdout=subprocess.DEVNULL).returncode != 0:
            print("npm could not install the extension's dependencies")
            return 77
        subprocess.run(["node", "--check", "extension.js"], cwd=stage, check=True)
        subprocess.run([vsce, "package", "--skip-license", "--allow-missing-repository", "--out", "cfgcheck.vsix"],
                       cwd=stage, check=True, stdin=subprocess.DEVNULL)
        with zipfile.ZipFile(os.path.join(stage, "cfgcheck.vsix")) as vsix:
            names = set(vsix.namelist())
            manifest = json.loads(vsix.read("extension/package.json"))
            extension = vsix.read("extension/extension.js").decode()
            schemas = {v["fileMatch"]: v["url"] for v in manifest["contributes"]["jsonValidation"]}
            problems = []
            for name in ("framework", "servicemgr", "servicemgr_restart", "uvkstartup"):
                url = schemas.get(name + ".json", "")
                path = "extension/" + os.path.normpath(url)
                if path not in names:
                    problems.append(f"no schema for {name}.json in the package: {url!r}")
                elif json.loads(vsix.read(path)).get("type") != "object":
                    problems.append(f"{path} is no schema of an object")
            if "extension/" + os.path.normpath(manifest["main"]) not in names:
                problems.append(f"main {manifest['main']} is not in the package")
            if "extension/node_modules/vscode-languageclient/package.json" not in names:
                problems.append("vscode-languageclient is not in the package")
            events = manifest["activationEvents"]
            for event in ("workspaceContains:**/framework.json", "onLanguage:json"):
                if event not in events:
                    problems.append(f"not activated by {event}: {events}")
            settings = manifest["contributes"]["configuration"]["properties"]
            if settings.get("cfgcheck.path", {}).get("type") != "string" or settings.get("cfgcheck.strict", {}).get("type") != "boolean":
                problems.append(f"settings: {sorted(settings)}")
            for needed in ("'--lsp'", "**/{framework,servicemgr,servicemgr_restart,uvkstartup}.json", "'cfgcheck.path'"):
                if needed not in extension:
                    problems.append(f"extension.js does not hold {needed}")
    for p in problems:
        print(p)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
