#!/usr/bin/env bash
# Fails when a tracked C or C++ file differs from what .clang-format makes of
# it, and names each such file. `--fix` rewrites them instead.
set -euo pipefail

repo_dir="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
cd "$repo_dir"

mapfile -t files < <(git ls-files -- '*.c' '*.cc' '*.cpp' '*.h' '*.hpp')
if [ "${1:-}" = "--fix" ]; then
  clang-format -i "${files[@]}"
  exit 0
fi

differing=()
for file in "${files[@]}"; do
  if ! clang-format --dry-run --Werror "$file" >/dev/null 2>&1; then differing+=("$file"); fi
done
if [ "${#differing[@]}" -gt 0 ]; then
  printf 'check-format: differs from .clang-format: %s\n' "${differing[@]}" >&2
  echo "check-format: run 'bash scripts/check-format.sh --fix'" >&2
  exit 1
fi
echo "check-format: ${#files[@]} files follow .clang-format"
