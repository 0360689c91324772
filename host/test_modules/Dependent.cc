// Dependent is a library that registers no classes itself, but needs a module that does.
extern "C" int dependentAnswer() {
  return 43;
}
