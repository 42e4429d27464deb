#!/usr/bin/env bash
# Runs ctest in the build folder and prints the count line from its JUnit report.
set -uo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/env.sh"
cd "$OVRTL_BUILD" || exit 1
report="$OVRTL_BUILD/ctest-junit.xml"
rm -f "$report"
ctest -j "$(nproc)" --output-on-failure --output-junit "$report" "$@"
rc=$?
if [ -f "$report" ]; then
  passed=$(grep -c '<testcase[^>]*status="run"' "$report")
  failed=$(grep -c '<testcase[^>]*status="fail"' "$report")
  skipped=$(grep -c '<testcase[^>]*status="\(notrun\|disabled\)"' "$report")
else
  passed=0; failed=1; skipped=0
fi
[ "$rc" -ne 0 ] && [ "$failed" -eq 0 ] && failed=1
if [ "$skipped" -gt 0 ]; then
  echo "$passed passed, $failed failed, $skipped skipped"
else
  echo "$passed passed, $failed failed"
fi
[ "$rc" -eq 0 ] && [ "$failed" -eq 0 ]
