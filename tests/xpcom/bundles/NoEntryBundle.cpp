// A shared library that loads but is no component bundle: it lacks NSGetModule.
extern "C" __attribute__((visibility("default"))) int SomethingElse() {
  return 42;
}
