"""check_recipes.py VERSION SCRATCH: the Yocto recipe against the installed files below SCRATCH, and the menus."""

import fnmatch
import hashlib
import os
import pathlib
import re
import sys
import tempfile

# What Yocto's bitbake.conf gives to the packages of a recipe, in the order in which they pick their files.
DEFAULTS = {
    "libvos-staticdev": "/usr/lib/*.a",
    "libvos-dev": "/usr/include /usr/lib/lib*.so /usr/lib/pkgconfig /usr/lib/cmake",
    "vos-tools": "",
    "vosmini": "",
    "libvos": "/usr/bin/* /usr/lib/lib*.so.*",
}
DIRECTORIES = {"bindir": "/usr/bin", "libdir": "/usr/lib", "datadir": "/usr/share", "PN": "libvos"}


def variables(recipe: str) -> dict[str, str]:
    """Assignments of a recipe; fails on a line that is none."""
    found: dict[str, str] = {}
    text = re.sub(r"\\\n", " ", recipe)
    for line in filter(None, map(str.strip, text.splitlines())):
        if line.startswith("#") or line.startswith("inherit "):
            continue
        match = re.fullmatch(r'([A-Za-z0-9_:${}\[\]-]+)\s*(\?\?=|\?=|\+=|=)\s*"([^"]*)"', line)
        if match is None:
            raise SystemExit(f"Yocto: not understood: {line}")
        found[match[1]] = match[3]
    return found


def expand(text: str) -> str:
    return re.sub(r"\$\{(\w+)\}", lambda m: DIRECTORIES[m[1]], text)


def takes(patterns: str, path: str) -> bool:
    return any(fnmatch.fnmatch(path, p) or path.startswith(p + "/") for p in patterns.split())


def check_yocto(version: str, scratch: pathlib.Path) -> list[str]:
    recipe = pathlib.Path(f"yocto/recipes-support/libvos/libvos_{version}.bb")
    if not recipe.exists():
        return [f"Yocto: there is no {recipe}"]
    values = variables(recipe.read_text())
    licence = hashlib.md5(pathlib.Path("../LICENSE").read_bytes()).hexdigest()
    problems = [] if licence in values["LIC_FILES_CHKSUM"] else ["Yocto: LIC_FILES_CHKSUM is stale"]
    files = {name: expand(values.get(f"FILES:{name}", "")) + " " + default for name, default in DEFAULTS.items()}
    owners = {"runtime": ["libvos"], "dev": ["libvos-dev", "libvos-staticdev"], "tools": ["vos-tools"],
              "mini": ["vosmini"]}
    for component, packages in owners.items():
        root = scratch / component
        for path in sorted(p for p in root.rglob("*") if not p.is_dir() or p.is_symlink()):
            name = "/" + str(path.relative_to(root))
            owner = next((package for package, patterns in files.items() if takes(patterns, name)), "no package")
            if owner not in packages:
                problems.append(f"Yocto: {name} lands in {owner}")
    installed = ["/" + str(p.relative_to(scratch / "tools")) for p in (scratch / "tools").rglob("*")]
    for pattern in files["vos-tools"].split():
        if installed and not any(takes(pattern, name) for name in installed):
            problems.append(f"Yocto: nothing is installed as {pattern}")
    return problems


def check_menus() -> list[str]:
    """Every menu file is understood and every option can be switched."""
    try:
        import kconfiglib
    except ImportError:
        print("the configuration menus are not checked: python3-kconfiglib is missing")
        return []
    problems = []
    os.environ["BR2_EXTERNAL_LIBVOS_PATH"] = str(pathlib.Path("buildroot").resolve())
    around = {
        "buildroot/Config.in": ["BR2_INSTALL_LIBSTDCPP", "BR2_TOOLCHAIN_HAS_THREADS", "BR2_TOOLCHAIN_GCC_AT_LEAST_12",
                                "BR2_PACKAGE_OPENSSL", "BR2_PACKAGE_LIBVOS"],
        "openwrt/libvos/Config.in": ["PACKAGE_libvos"],
    }
    for menu, needed in around.items():
        stubs = "".join(f"config {name}\n\tbool\n\tdefault y\n" for name in needed if name != "BR2_PACKAGE_LIBVOS")
        stubs += "config BR2_STATIC_LIBS\n\tbool\n"
        with tempfile.NamedTemporaryFile("w", suffix=".in") as top:
            top.write(f'{stubs}source "{pathlib.Path(menu).resolve()}"\n')
            top.flush()
            config = kconfiglib.Kconfig(top.name, warn_to_stderr=False)
            if config.warnings:
                problems += [f"{menu}: {warning}" for warning in config.warnings]
            if "BR2_PACKAGE_LIBVOS" in config.syms:
                config.syms["BR2_PACKAGE_LIBVOS"].set_value(2)
            for name, symbol in config.syms.items():
                if "LIBVOS_" in name and symbol.nodes and symbol.str_value != "y":
                    problems.append(f"{menu}: {name} cannot be switched on")
    return problems


def main() -> int:
    problems = check_yocto(sys.argv[1], pathlib.Path(sys.argv[2])) + check_menus()
    for problem in problems:
        print(problem)
    return 1 if problems else 0


sys.exit(main())
