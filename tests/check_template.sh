#!/usr/bin/env bash
# check_template.sh CMAKE BUILD_DIR TEMPLATE SCRATCH: installs into a prefix of its own, then takes the template as a
# repository that knows nothing but that prefix: builds, tests and installs it in C and in C++. Skipped (77) without pytest.
set -euo pipefail
cmake=$1 build=$2 template=$3 repository=$4
/usr/bin/python3 -c 'import pytest' 2> /dev/null || { echo "pytest is missing: apt-get install python3-pytest"; exit 77; }
rm -rf "$repository"
cp -r "$template" "$repository"
cd "$repository"
# Inside the repository, because that stays visible in the sandbox wherever it lies.
prefix=$repository/prefix
quietly() { "$@" > log 2>&1 || { cat log; exit 1; }; }
quietly "$cmake" --install "$build" --prefix "$prefix"
libraries=$(dirname "$(find "$prefix" -name libvos.so.1)")
export LD_LIBRARY_PATH=$libraries VOS_LIBRARY=$libraries/libvos.so.1 PATH=$prefix/bin:$PATH
export PYTHONPATH=$prefix/lib/python3/dist-packages PYTHONDONTWRITEBYTECODE=1
for language in c cpp; do
    echo "== $language"
    quietly "$cmake" -S . -B "build_$language" -DLAMPD_LANGUAGE=$language -DCMAKE_PREFIX_PATH="$prefix" \
        -DCMAKE_INSTALL_PREFIX=/usr
    quietly "$cmake" --build "build_$language"
    (cd "build_$language" && ctest --output-on-failure)
    quietly env DESTDIR="$repository/root_$language" "$cmake" --install "build_$language"
    for file in usr/sbin/lampd usr/lib/systemd/system/lampd.service usr/share/vos/interfaces/lampd.toml; do
        [ -e "root_$language/$file" ] || { echo "$file is not installed"; exit 1; }
    done
done
