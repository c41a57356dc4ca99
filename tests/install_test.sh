#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# install_test.sh BUILD SOURCE
# What the build BUILD installs and packs: complete, usable from any place, by applications and by a build
# against the SDK of a device.
set -euo pipefail
build=$1
source=$2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch"

fail() {
    printf 'FAILED: %s\n' "$*" >&2
    exit 1
}

# quietly COMMAND...: shows what it says only when it fails.
quietly() { "$@" >log 2>&1 || { cat log >&2; fail "$*"; }; }

# expect WHAT EXPECTED ACTUAL
expect() { diff <(printf '%s\n' "$2") <(printf '%s\n' "$3") >&2 || fail "$1 differs (< expected, > found)"; }

for tool in make pkg-config file dpkg-deb dpkg-shlibdeps readelf; do
    command -v $tool >/dev/null || fail "$tool is missing; the packages make, pkg-config, file, dpkg-dev and binutils have it"
done

# ---- Installed, then moved: nothing may remember where it came from. ----

quietly cmake --install "$build" --prefix "$scratch/elsewhere"
mv elsewhere installed
for place in "$scratch" "$source" "$build"; do
    if grep -rlaF "$place" installed; then
        fail "these files name $place"
    fi
done
expect "The library's links" "libtqDevSDK_smart_control.so.2 libtqDevSDK_smart_control.so.2.0.0" \
    "$(readlink installed/lib/libtqDevSDK_smart_control.so installed/lib/libtqDevSDK_smart_control.so.2 | xargs)"

# ---- Both examples. ----

camera_says='platform: command 20035 seq 7 response 1 v1.0.0 {"result":0}
camera: picture of channel 1 for picture-17
platform: command 19986 seq 0 response 0 V2.0.0 {"channelNo":1,"value":1}'
panel_says='panel: lightness 80
platform: command 18830 seq 0 response 1 v1.0.0 <?xml version="1.0" encoding="utf-8"?><Response><Result>0</Result></Response>
panel: scenes {"scenes":[{"id":42,"name":"Good night"}]}
panel: scene 42
platform: reply ExecManualScene of TQLink type 2 resource 1 Video 200 0 '\''success!'\'' seq 0/0 qos 0 [operate_reply] value 5 length 0 {}
platform: command 19986 seq 0 response 0 V2.0.0 {"channelNo":2,"value":1}
platform: command 12382 seq 1 response 0 v1.0.0 <?xml version="1.0" encoding="utf-8"?><Request><DevSerial>TQ00000001</DevSerial><Authorization/><Status Type="device_screen_lightness" Value="80"/></Request>
platform: shadow SceneLink version 1 reset 0 type 3 {"scenes":[{"id":42,"name":"Good night"}]}'

cp -r installed/share/doc/tqDevSDK_smart_control/examples .
quietly make -C examples/c CFLAGS="-std=c99 -Wall -Wextra -Wpedantic -Werror" \
    PKG_CONFIG_PATH="$scratch/installed/lib/pkgconfig"
expect "The camera's output" "$camera_says" "$(LD_LIBRARY_PATH=installed/lib examples/c/camera)"

quietly cmake -S examples/cpp -B panel -DCMAKE_PREFIX_PATH="$scratch/installed" \
    -DCMAKE_COMPILE_WARNING_AS_ERROR=ON
quietly cmake --build panel
expect "The panel's output" "$panel_says" "$(panel/panel)"

# ---- The module for a device's SDK: a folder of headers and a library, here the stand-in's. ----

mkdir -p sdk/inc sdk/lib
cp installed/include/tqDevSDK/host/*.h sdk/inc
if cmake -G Ninja -S "$source" -B device -DTQ_HOST_SDK_DIR="$scratch/sdk" >log 2>&1; then
    fail "an SDK without a library was taken"
fi
grep -q 'at least one lib/\*.so' log || fail "the message about an SDK without a library"

cp installed/lib/libtqDevSDK_host.so sdk/lib
quietly cmake -G Ninja -S "$source" -B device -DTQ_HOST_SDK_DIR="$scratch/sdk" -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_COMPILE_WARNING_AS_ERROR=ON -DCMAKE_EXPORT_COMPILE_COMMANDS=ON
quietly cmake --build device -j 2
if grep -F "$source/host" device/compile_commands.json; then
    fail "the build for a device uses the stand-in"
fi
grep -q 'TQ_SHADOW_VALUE_CAPACITY=0' device/compile_commands.json || fail "the build for a device bounds shadow values"
quietly cmake --install device --prefix "$scratch/on_device"
expect "What a device gets" "lib/libtqDevSDK_smart_control.so.2.0.0" \
    "$(cd on_device && find . -type f -path '*/lib/*.so*' -printf '%P\n')"
expect "The camera's output with the module for a device" "$camera_says" \
    "$(LD_LIBRARY_PATH=on_device/lib:sdk/lib examples/c/camera)"

# ---- Packages. ----

# files PACKAGE: the files in it, without folders.
files() { dpkg-deb --fsys-tarfile "packages/$1"_*.deb | tar -t | grep -v '/$' | sort; }
depends() { dpkg-deb -f "packages/$1"_*.deb Depends; }

quietly cpack --config "$build/CPackConfig.cmake" -B "$scratch/packages"
expect "The packages" "libtqdevsdk-smart-control-dev libtqdevsdk-smart-control2 tqdevsdk-smart-control-desk" \
    "$(cd packages && for name in *.deb; do echo "${name%%_*}"; done | sort | xargs)"

expect "The package for devices" "./usr/lib/libtqDevSDK_smart_control.so.2
./usr/lib/libtqDevSDK_smart_control.so.2.0.0
./usr/share/doc/tqDevSDK_smart_control/LICENSE" "$(files libtqdevsdk-smart-control2)"
[[ $(depends libtqdevsdk-smart-control2) == *libc6*libstdc++6* ]] || fail "the dependencies for devices"

expect "The package for development, without examples" "./usr/include/tqDevSDK/tqDevSDK_SmartControl_def.h
./usr/include/tqDevSDK/tqdev_sdk_types.h
./usr/lib/cmake/tqDevSDK_smart_control/tqDevSDK_smart_control-targets-release.cmake
./usr/lib/cmake/tqDevSDK_smart_control/tqDevSDK_smart_control-targets.cmake
./usr/lib/cmake/tqDevSDK_smart_control/tqDevSDK_smart_controlConfig.cmake
./usr/lib/cmake/tqDevSDK_smart_control/tqDevSDK_smart_controlConfigVersion.cmake
./usr/lib/libtqDevSDK_smart_control.so
./usr/lib/pkgconfig/tqDevSDK_smart_control.pc" "$(files libtqdevsdk-smart-control-dev | grep -v /examples/)"
expect "Its dependencies" "libtqdevsdk-smart-control2 (= 2.0.0)" "$(depends libtqdevsdk-smart-control-dev)"

# The three together, as on a desk; no file in two of them.
expect "Files in two packages" "" "$(for name in packages/*.deb; do files "$(basename "${name%%_*}")"; done | sort | uniq -d)"
[[ $(depends tqdevsdk-smart-control-desk) == *"libtqdevsdk-smart-control-dev (= 2.0.0)"*libcjson1* ]] ||
    fail "the dependencies for desks"
for name in packages/*.deb; do
    dpkg-deb -x "$name" desk
done
expect "tq_gateway from the packages" '{"result":0}' \
    "$(printf '%s\n' '{"report":"event","channel":1,"value":5}' | desk/usr/bin/tq_gateway --json | tail -n 1)"
