#!/bin/sh
# Builds the GNUstep side of the interoperability test with gcc's Objective-C front end.
# Usage: build-gnustep-archiver.sh SOURCE OUTPUT LOG
# A failed build leaves no OUTPUT and says why in LOG, which the test prints when it fails: the
# rest of the tree still builds on a machine without GNUstep, and the test does not pass there.
source=$1 output=$2 log=$3
rm -f "$output"
{
  command -v gnustep-config >/dev/null || { echo "gnustep-config not found (make deps installs GNUstep Base)"; exit 0; }
  gcc -std=gnu11 $(gnustep-config --objc-flags) -o "$output" "$source" $(gnustep-config --base-libs)
} >"$log" 2>&1
exit 0
