// HalfWebEngine is a web engine's library without takeWebEngineLock().
extern "C" bool isWebEngineLockHeld() {
  return true;
}
