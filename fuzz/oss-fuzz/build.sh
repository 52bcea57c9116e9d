#!/bin/bash -eu
# SPDX-License-Identifier: MIT
# Builds the fuzzers with the compiler, flags and engine that OSS-Fuzz sets in the environment ($CC, $CXX, $CFLAGS,
# $CXXFLAGS, $LIB_FUZZING_ENGINE, $SRC, $WORK), and leaves them in $OUT with seeds and dictionary.
project=$SRC/nalsmith

# GoogleTest with the same flags: its library has to be of the same standard library as the fuzzers.
cmake -G Ninja -S /usr/src/googletest -B "$WORK/googletest" -DCMAKE_INSTALL_PREFIX="$WORK/prefix" -DBUILD_GMOCK=OFF
cmake --build "$WORK/googletest" --target install

# Debug adds -g and nothing else; optimisation and sanitizers are in the flags.
cmake -G Ninja -S "$project" -B "$WORK/build" -DCMAKE_BUILD_TYPE=Debug -DCMAKE_PREFIX_PATH="$WORK/prefix" \
    -DNALSMITH_SHARED=OFF -DNALSMITH_INSTALL=OFF -DNALSMITH_FUZZ=ON -DNALSMITH_FUZZ_STRICT=OFF \
    -DNALSMITH_FUZZING_ENGINE="$LIB_FUZZING_ENGINE"
cmake --build "$WORK/build"

seeds=$WORK/seeds
rm -rf "$seeds"
"$WORK/build/fuzz/fuzz-seeds" "$seeds" "$project"/tests/streams/*.h26[45]
for fuzzer in "$WORK"/build/fuzz/fuzz-*; do
    name=$(basename "$fuzzer")
    case $name in
    fuzz-planted-* | fuzz-seeds) continue ;;
    esac
    cp "$fuzzer" "$OUT/"
    cp "$project/fuzz/annexb.dict" "$OUT/$name.dict"
    printf '[libfuzzer]\nmax_len = 8192\ntimeout = 20\n' >"$OUT/$name.options"
    [ ! -d "$seeds/$name" ] || zip -qjr "$OUT/${name}_seed_corpus.zip" "$seeds/$name"
done
