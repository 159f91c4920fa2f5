# SPDX-License-Identifier: MIT
"""Makes a wheel of the package vorn, for pip: files and their digests in an
archive. Nothing has to be installed for it."""

import base64
import hashlib
import pathlib
import re
import tarfile
import zipfile

_HERE = pathlib.Path(__file__).resolve().parent
_ROOT = _HERE.parent


def _version():
    text = (_ROOT / "CMakeLists.txt").read_text(encoding="utf-8")
    return re.search(r"project\(vorn VERSION ([0-9.]+)", text).group(1)


def _metadata():
    project = (_ROOT / "pyproject.toml").read_text(encoding="utf-8")

    def value(key):
        return re.search(rf'^{key} = "(.*)"$', project, re.MULTILINE).group(1)

    return (
        "Metadata-Version: 2.1\n"
        f"Name: {value('name')}\n"
        f"Version: {_version()}\n"
        f"Summary: {value('description')}\n"
        f"Requires-Python: {value('requires-python')}\n"
        "License: MIT\n"
    )


def _files():
    """Names in the archive, and contents."""
    folder = f"vorn-{_version()}.dist-info"
    files = {}
    for path in sorted((_HERE / "vorn").iterdir()):
        if path.suffix in (".py", ".pyi", ".typed"):
            files[f"vorn/{path.name}"] = path.read_bytes()
    files[f"{folder}/LICENSE"] = (_ROOT / "LICENSE").read_bytes()
    files[f"{folder}/METADATA"] = _metadata().encode()
    files[f"{folder}/WHEEL"] = (
        b"Wheel-Version: 1.0\nGenerator: vorn\n"
        b"Root-Is-Purelib: true\nTag: py3-none-any\n"
    )
    record = ""
    for name, content in files.items():
        digest = base64.urlsafe_b64encode(hashlib.sha256(content).digest())
        record += f"{name},sha256={digest.decode().rstrip('=')},{len(content)}\n"
    files[f"{folder}/RECORD"] = f"{record}{folder}/RECORD,,\n".encode()
    return files


def get_requires_for_build_wheel(config_settings=None):
    return []


def get_requires_for_build_sdist(config_settings=None):
    return []


def build_wheel(wheel_directory, config_settings=None, metadata_directory=None):
    name = f"vorn-{_version()}-py3-none-any.whl"
    path = pathlib.Path(wheel_directory) / name
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as archive:
        for file, content in _files().items():
            # The same files make the same archive.
            archive.writestr(zipfile.ZipInfo(file), content)
    return name


def build_sdist(sdist_directory, config_settings=None):
    name = f"vorn-{_version()}"
    path = pathlib.Path(sdist_directory) / f"{name}.tar.gz"
    with tarfile.open(path, "w:gz") as archive:
        for part in ("CMakeLists.txt", "LICENSE", "pyproject.toml", "python"):
            archive.add(_ROOT / part, f"{name}/{part}")
    return path.name
