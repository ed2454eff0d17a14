"""npm packages the tests install under the build tree."""
import glob
import os
import subprocess


def install(prefix, package, installed):
    """The first path matching `installed` (a glob under PREFIX/node_modules) once
    npm has installed `package` under PREFIX, or None, said on stdout, when npm
    or the package cannot be had."""
    pattern = os.path.join(prefix, "node_modules", installed)
    if not glob.glob(pattern):
        try:
            subprocess.run(["npm", "install", "--prefix", prefix, package], timeout=600,
                           stdout=subprocess.DEVNULL)
        except (OSError, subprocess.TimeoutExpired) as e:
            print(f"npm cannot run: {e}")
            return None
    found = glob.glob(pattern)
    if not found:
        print(f"npm could not install {package}")
    return found[0] if found else None
