#!/usr/bin/env bash
# The demonstration after `make build`: the host loads the plug-in bundle with a throwaway
# profile and shows what the bundle registered and how the plug-in answers.
set -euo pipefail
cd "$(dirname "$0")/.."
build=build/default
profile=$build/demo/profile
rm -rf "$build/demo"
mkdir -p "$build/demo"

# The host's junk threshold is set here to show that the plug-in reads and ignores it.
mkdir -m 0700 -p "$profile"
cat >"$profile/prefs.js" <<'PREFS'
// A demonstration profile.
user_pref("mail.adaptivefilters.junk_threshold", 90);
PREFS

# Quellbark's log level 10 makes the plug-in print a line for every request it answers.
export CFFIXED_USER_HOME=$PWD/$build/demo/home
mkdir -p "$CFFIXED_USER_HOME/Library/Preferences"
cat >"$CFFIXED_USER_HOME/Library/Preferences/com.quellbark.Quellbark.plist" <<'PLIST'
<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0"><dict><key>ThunderbirdLogLevel</key><integer>10</integer></dict></plist>
PLIST

echo "== mailhost info (profile $profile)"
"$build/bin/mailhost" --profile "$profile" --plugin "$build/lib/QuellbarkPlugIn.so" info 2>&1
echo
echo "The \"Quellbark Thunderbird Plug-In:\" lines are the plug-in's own log (Quellbark's"
echo "ThunderbirdLogLevel is 10 in this demo's home; the default, 40, shows errors only)."
