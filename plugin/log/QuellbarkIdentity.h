// The companion application's identity, shared by every part of the plug-in that names it.
#pragma once

// Quellbark's bundle identifier: its preferences domain and its identity to the system.
#define kQuellbarkBundleIdentifier "com.quellbark.Quellbark"
