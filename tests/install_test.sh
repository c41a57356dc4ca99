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

expect "What the linkage engine needs" "libc.so.6" \
    "$(readelf -dW installed/lib/libtqDevSDK_linkage.so.1 | sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p')"

# ---- The examples. ----

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

hub_says='platform: shadow InterconnectionRule version 1 reset 0 type 4 [{"Type":"Global","channel":1,"status":[{"id":1,"userId":"user-1","name":"Porch at night","enable":1,"weekdays":["1", "2", "3", "4", "5"],"startTime":"22:00","endTime":"n06:30","rule":{"condition":0,"events":[{"domain":1100,"cmdId":5,"deviceId":"SENSOR001","channelNo":1,"value":1}],"actions":[{"domain":1100,"cmdId":1,"deviceId":"HUB000001","channelNo":1,"params":{"value1":1},"delay":0}, {"domain":1100,"cmdId":1,"deviceId":"LAMP00001","channelNo":1,"params":{"value1":1},"delay":0}, {"domain":1100,"cmdId":2,"deviceId":"HUB000001","channelNo":1,"params":{},"delay":5}, {"domain":7000,"cmdId":20034,"deviceId":"CAMERA001","channelNo":1,"params":{},"delay":0}]}}]}]
hub: rule 1 "Porch at night" held: 12:00 is not within 22:00 to n06:30
desk: 60000 ms to the next work
platform: command 19990 seq 0 response 0 V2.0.0 {"id":1,"undoneActions":[{"domain":7000,"cmdId":20034,"deviceId":"CAMERA001","channelNo":1,"params":{},"delay":0,"extendValue":""}]}
hub: lamp on
platform: command 19988 seq 1 response 0 V2.0.0 {"id":1,"deviceId":"HUB000001","channelNo":1,"domain":1100,"cmdId":1,"result":0}
hub: to LAMP00001: command 1
platform: command 19988 seq 2 response 0 V2.0.0 {"id":1,"deviceId":"LAMP00001","channelNo":1,"domain":1100,"cmdId":1,"result":0}
desk: 5000 ms to the next work
hub: siren
platform: command 19988 seq 3 response 0 V2.0.0 {"id":1,"deviceId":"HUB000001","channelNo":1,"domain":1100,"cmdId":2,"result":0}
platform: command 19990 seq 4 response 0 V2.0.0 {"id":1,"undoneActions":[{"domain":1100,"cmdId":1,"deviceId":"LAMP00001","channelNo":1,"params":{"value1":1},"delay":0,"extendValue":""}]}
hub: lamp on
platform: command 19988 seq 5 response 0 V2.0.0 {"id":1,"deviceId":"HUB000001","channelNo":1,"domain":1100,"cmdId":1,"result":0}
hub: to CAMERA001: command 20034
platform: command 19988 seq 6 response 0 V2.0.0 {"id":1,"deviceId":"CAMERA001","channelNo":1,"domain":7000,"cmdId":20034,"result":0}
desk: 5000 ms to the next work
hub: siren
platform: command 19988 seq 7 response 0 V2.0.0 {"id":1,"deviceId":"HUB000001","channelNo":1,"domain":1100,"cmdId":2,"result":0}
hub: rule 1 "Porch at night" held: day 6 is not among 1 2 3 4 5
desk: 60000 ms to the next work
hub: rule 1 "Porch at night" misses: event 1 has channel 1, not 2
platform: dclog device_lan_smart_center_statistics seq 0'

cp -r installed/share/doc/tqDevSDK_smart_control/examples .
for example in c hub; do
    quietly make -C examples/$example CFLAGS="-std=c99 -Wall -Wextra -Wpedantic -Werror" \
        PKG_CONFIG_PATH="$scratch/installed/lib/pkgconfig"
done
expect "The camera's output" "$camera_says" "$(LD_LIBRARY_PATH=installed/lib examples/c/camera)"

# Its results carry the time of the day.
expect "The hub's output" "$hub_says" \
    "$(LD_LIBRARY_PATH=installed/lib examples/hub/hub | sed 's/,"time":"[^"]*"//')"

quietly cmake -S examples/cpp -B panel -DCMAKE_PREFIX_PATH="$scratch/installed" \
    -DCMAKE_COMPILE_WARNING_AS_ERROR=ON
quietly cmake --build panel
expect "The panel's output" "$panel_says" "$(panel/panel)"

# ---- The linkage engine by itself, shared and linked in. ----

mkdir found
cat >found/CMakeLists.txt <<'END'
cmake_minimum_required(VERSION 3.25)
project(found C)
find_package(tqDevSDK_linkage 1 REQUIRED)
foreach(library linkage linkage_static)
  add_executable(with_${library} main.c)
  target_link_libraries(with_${library} PRIVATE tqDevSDK::${library})
endforeach()
END
cat >found/main.c <<'END'
#include <stdio.h>
#include "tqDevSDK_Linkage.h"
int main(void) {
    int reason = 0;
    tqDevSDK_Linkage_Free(tqDevSDK_Linkage_New(NULL, &reason));
    return puts(tqDevSDK_Linkage_ReasonText(reason)) < 0;
}
END
quietly cmake -S found -B found/build -DCMAKE_PREFIX_PATH="$scratch/installed"
quietly cmake --build found/build
expect "The linkage engine by itself" "an argument is null an argument is null" \
    "$(found/build/with_linkage) $(found/build/with_linkage_static)"

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
expect "What a device gets" "lib/libtqDevSDK_linkage.so.1.0.0 lib/libtqDevSDK_smart_control.so.2.0.0" \
    "$(cd on_device && find . -type f -path '*/lib/*.so*' -printf '%P\n' | sort | xargs)"
expect "The camera's output with the module for a device" "$camera_says" \
    "$(LD_LIBRARY_PATH=on_device/lib:sdk/lib examples/c/camera)"

# ---- Packages. ----

# files PACKAGE: the files in it, without folders.
files() { dpkg-deb --fsys-tarfile "packages/$1"_*.deb | tar -t | grep -v '/$' | sort; }
depends() { dpkg-deb -f "packages/$1"_*.deb Depends; }

quietly cpack --config "$build/CPackConfig.cmake" -B "$scratch/packages"
expect "The packages" "libtqdevsdk-linkage-dev libtqdevsdk-linkage1 libtqdevsdk-smart-control-dev libtqdevsdk-smart-control2 tqdevsdk-smart-control-desk" \
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

expect "The package of the linkage engine" "./usr/lib/libtqDevSDK_linkage.so.1
./usr/lib/libtqDevSDK_linkage.so.1.0.0
./usr/share/doc/tqDevSDK_linkage/LICENSE" "$(files libtqdevsdk-linkage1)"
[[ $(depends libtqdevsdk-linkage1) =~ ^libc6\ [^,]*$ ]] || fail "the dependencies of the linkage engine"
expect "Its package for development" "./usr/include/tqDevSDK/tqDevSDK_Linkage.h
./usr/lib/cmake/tqDevSDK_linkage/tqDevSDK_linkage-targets-release.cmake
./usr/lib/cmake/tqDevSDK_linkage/tqDevSDK_linkage-targets.cmake
./usr/lib/cmake/tqDevSDK_linkage/tqDevSDK_linkageConfig.cmake
./usr/lib/cmake/tqDevSDK_linkage/tqDevSDK_linkageConfigVersion.cmake
./usr/lib/libtqDevSDK_linkage.a
./usr/lib/libtqDevSDK_linkage.so
./usr/lib/pkgconfig/tqDevSDK_linkage.pc" "$(files libtqdevsdk-linkage-dev)"

# All together, as on a desk; no file in two of them.
expect "Files in two packages" "" "$(for name in packages/*.deb; do files "$(basename "${name%%_*}")"; done | sort | uniq -d)"
[[ $(depends tqdevsdk-smart-control-desk) == *"libtqdevsdk-smart-control-dev (= 2.0.0)"*libcjson1* ]] ||
    fail "the dependencies for desks"
for name in packages/*.deb; do
    dpkg-deb -x "$name" desk
done
expect "tq_gateway from the packages" '{"result":0}' \
    "$(printf '%s\n' '{"report":"event","channel":1,"value":5}' | desk/usr/bin/tq_gateway --json | tail -n 1)"
