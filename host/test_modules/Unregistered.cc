// Unregistered is a library that registers no classes: no module.
extern "C" int answer() {
  return 42;
}
