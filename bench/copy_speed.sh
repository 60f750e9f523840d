#!/usr/bin/env bash
# Saving into a folder with FileStore beside cp of the same item on the same file system,
# warm cache, best of three each: a 1 GiB file, then a folder of 10,000 small files.
# Usage: bench/copy_speed.sh build-dir [scratch-dir]
set -euo pipefail
build=${1:?usage: copy_speed.sh build-dir [scratch-dir]}
work=$(mktemp -d "${2:-${TMPDIR:-/tmp}}/verrabel-copy.XXXXXX")
trap 'rm -rf "$work"' EXIT

head -c $((1 << 30)) /dev/urandom >"$work/big.bin"
mkdir "$work/small"
for i in $(seq 1 10000); do
  head -c $((RANDOM % 4096)) /dev/urandom >"$work/small/file $i.txt"
done
sync

# best_of SECONDS...: the smallest
best_of() { printf '%s\n' "$@" | sort -g | head -n 1; }
timed() { # timed COMMAND...: wall seconds
  local start end
  start=$(date +%s.%N)
  "$@"
  end=$(date +%s.%N)
  echo "$end - $start" | bc -l
}

compare() { # compare WHAT ITEM CP-FLAGS
  local what=$1 item=$2 flags=$3 cp_times=() store_times=() i
  for i in 1 2 3; do
    # Each copy starts with the disk quiet, and each tool goes first in turn.
    rm -rf "$work/to-cp" "$work/to-store" && mkdir "$work/to-cp" "$work/to-store" && sync
    if ((i % 2)); then
      store_times+=("$(timed "$build/bench/store_copy" "$item" "$work/to-store")") && sync
      cp_times+=("$(timed cp $flags "$item" "$work/to-cp/")")
    else
      cp_times+=("$(timed cp $flags "$item" "$work/to-cp/")") && sync
      store_times+=("$(timed "$build/bench/store_copy" "$item" "$work/to-store")")
    fi
  done
  local cp_best store_best
  cp_best=$(best_of "${cp_times[@]}")
  store_best=$(best_of "${store_times[@]}")
  printf '%s: cp %.3f s, FileStore %.3f s, FileStore speed %.2f x cp\n' "$what" "$cp_best" \
    "$store_best" "$(echo "$cp_best / $store_best" | bc -l)"
}

compare "1 GiB file (target >= 0.95 x)" "$work/big.bin" "-p"
compare "folder of 10,000 small files (target >= 0.8 x)" "$work/small" "-rp"
