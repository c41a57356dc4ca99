#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# linkage_faults.sh COMPILER SOURCE TEST_OBJECT OBJECTS LIBRARIES
# Puts faults into copies of the linkage engine's sources, one at a time, and runs the comparison with the
# oracle: it has to find each. OBJECTS and LIBRARIES are lists with semicolons.
set -euo pipefail
compiler=$1
source=$2
test_object=$3
IFS=';' read -ra objects <<<"$4"
IFS=';' read -ra libraries <<<"$5"
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
missed=0

# run SOURCE: builds the comparison with this copy of a source in place of the original, and runs it.
run() {
    local others=() object
    for object in "${objects[@]}"; do
        [[ $object == *"/$1.o" ]] || others+=("$object")
    done
    "$compiler" -std=c++17 -O1 -fPIC -I"$source/linkage/inc" -I"$source/inc" -I"$source/host/inc" \
        -c "$scratch/src/$1" -o "$scratch/fault.o"
    "$compiler" -o "$scratch/test" "$test_object" "$scratch/fault.o" "${others[@]}" "${libraries[@]}" -pthread
    "$scratch/test" --gtest_filter='*Million*' >"$scratch/log" 2>&1
}

# fault WHAT FILE SED [SOURCE]: SOURCE is what is built when FILE is a header.
fault() {
    rm -rf "$scratch/src"
    cp -r "$source/linkage/src" "$scratch/src"
    sed -i "$3" "$scratch/src/$2"
    if cmp -s "$scratch/src/$2" "$source/linkage/src/$2"; then
        echo "FAILED: $1: $2 has no such line any more"
        missed=1
    elif run "${4:-$2}"; then
        echo "FAILED: $1: not found"
        missed=1
    else
        echo "$1: found, $(sed -n 's/.*Failure$//; s/^.*\(seed [0-9]*, event [0-9]*\).*/\1/p' "$scratch/log" | head -n 1)"
    fi
}

rm -rf "$scratch/src"
cp -r "$source/linkage/src" "$scratch/src"
run Linkage_judge.cpp || { echo "FAILED: the comparison finds a fault where there is none"; exit 1; }

fault "the end of a period" Linkage_judge.cpp 's/at + (end_open ? 1U : 0U) > rule.end/at + 1U > rule.end/'
fault "an open end" Linkage_judge.cpp 's/at + (end_open ? 1U : 0U) > rule.end/at > rule.end/'
fault "the weekday of a crossing period" Linkage_judge.cpp 's/(now.ucDay <= back ? 7U : 0U) - back/0U/'
fault "the day behind midnight" Linkage_judge.cpp 's/back \* kMinutesOfDay <= rule.end/back * kMinutesOfDay < rule.end/'
fault "a period without a minute" Linkage_set.cpp 's/last > rule.start/last >= rule.start/'
fault "a time of day" Linkage_set.cpp 's/hour < 24 \&\& minute < 60/hour < 24 \&\& minute <= 60/'
fault "the rest after firing" Linkage_judge.cpp 's/rested < config.uiCooldownMs/rested <= config.uiCooldownMs/'
fault "a rest over new rules" Linkage_set.cpp 's/rule.fired_at = old.fired_at;//'
fault "the age of a partner" Linkage_judge.cpp 's/age > config.uiAllWindowMs/age >= config.uiAllWindowMs/'
fault "a partner's last value over new rules" Linkage_set.cpp 's/set.keys\[key\].value = old.value;//'
fault "the depth of a chain" Linkage_judge.cpp 's/occasion.depth > config.ucChainMax/occasion.depth >= config.ucChainMax/'
fault "the second event of a rule with one key" Linkage_judge.cpp 's/^            return i;/            return first;/'
fault "time that runs backwards" Linkage_engine.h 's/return now.ullMonoMs > engine.mono ? now.ullMonoMs : engine.mono;/return engine.mono, now.ullMonoMs;/' \
    Linkage_event.cpp
exit $missed
