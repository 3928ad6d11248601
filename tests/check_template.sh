#!/usr/bin/env bash
# check_template.sh CMAKE BUILD_DIR MANUAL SCRATCH: installs into a prefix of its own, then takes the template that lies in there as
# a repository that knows nothing but that prefix: builds it without a warning and with sanitizers, tests and packs it in C and in
# C++, as the manual's tutorial says, and replays to the one what the other said, as the page MANUAL has it. Skipped (77) without
# pytest.
set -euo pipefail
cmake=$1 build=$2 manual=$(realpath "$3") repository=$4
/usr/bin/python3 -c 'import pytest' 2> /dev/null || { echo "pytest is missing: apt-get install python3-pytest"; exit 77; }
rm -rf "$repository"
mkdir -p "$repository"
cd "$repository"
# Inside the repository, because that stays visible in the sandbox wherever it lies.
prefix=$repository/prefix
log=$(mktemp)
trap 'rm "$log"' EXIT
quietly() { "$@" > "$log" 2>&1 || { cat "$log"; exit 1; }; }
quietly "$cmake" --install "$build" --prefix "$prefix"
cp -r "$prefix/share/doc/libvos-dev/examples/template/." .
libraries=$(dirname "$(find "$prefix" -name libvos.so.1)")
export LD_LIBRARY_PATH=$libraries VOS_LIBRARY=$libraries/libvos.so.1 PATH=$prefix/bin:$PATH
export CFLAGS="-Wshadow -Wconversion -Werror -fsanitize=address,undefined -fno-sanitize-recover=all"
export CXXFLAGS=$CFLAGS
export PYTHONPATH=$prefix/lib/python3/dist-packages PYTHONDONTWRITEBYTECODE=1
for language in c cpp; do
    echo "== $language"
    quietly "$cmake" -S . -B "build_$language" -DLAMPD_LANGUAGE=$language -DCMAKE_PREFIX_PATH="$prefix"
    quietly "$cmake" --build "build_$language"
    (cd "build_$language" && ctest --output-on-failure && quietly cpack && dpkg-deb --contents lampd_0.1.0_*.deb > contents)
    for file in usr/sbin/lampd usr/lib/systemd/system/lampd.service usr/share/vos/interfaces/lampd.toml; do
        grep -q " ./$file$" "build_$language/contents" || { echo "$file is not packed"; exit 1; }
    done
done

echo "== a capture as a test, as the manual has it"
export VOS_INTERFACES=$repository
cat > switchd.py << 'END'
import lampd, vos
with vos.Connection("switchd") as hub:
    lamp = lampd.Client.find(hub)
    assert lamp.set(lampd.State(level=40, offAfterMs=0)).level == 0 and lamp.get().level == 40
END
client=$(dirname "$(find build_c -name lampd.py | head -n 1)")
quietly vosctl sandbox -- sh -c "build_c/lampd & vosctl wait lampd
    PYTHONPATH=$client:$PYTHONPATH vosctl record field.pcap --entity lampd -- /usr/bin/python3 switchd.py"
replay=$(sed -n '/^vosctl sandbox -- sh -c .$/,/^```$/p' "$manual" | grep -v '^```')
export PATH=$repository/build_cpp:$PATH
quietly sh -ec "$replay"
grep -q '^sent: [1-9].*, differences: 0$' "$log"
sed -i 's/reply.send(state_)/reply.send({state_.level + 1, 0})/' src/lampd.cpp
quietly "$cmake" --build build_cpp
status=0
sh -ec "$replay" > "$log" 2>&1 || status=$?
if [ "$status" != 1 ] || ! grep -Eq '^ +level +recorded 40$' "$log"; then
    echo "another answer is to end with 1 and to name the field, not with $status:"
    cat "$log"
    exit 1
fi
