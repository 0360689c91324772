// WebEngine is a web engine's lock: a flag that takeWebEngineLock() sets.
extern "C" {

bool webEngineLockIsHeld = false;

bool isWebEngineLockHeld() {
  return webEngineLockIsHeld;
}

void takeWebEngineLock() {
  webEngineLockIsHeld = true;
}
}
