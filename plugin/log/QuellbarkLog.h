// Levelled diagnostics on the console. The threshold is Quellbark's integer preference
// "ThunderbirdLogLevel", read for every message, so the user tunes the plug-in's verbosity from
// the companion application. Formats are Core Foundation formats: printf directives plus "%@".
#pragma once

void debug(const char* aFormat, ...);
void info(const char* aFormat, ...);
void error(const char* aFormat, ...);
