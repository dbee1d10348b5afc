// A shared library that loads but offers the host nothing: it has no NSGetModule.
extern "C" __attribute__((visibility("default"))) int notAComponentModule() {
  return 42;
}
