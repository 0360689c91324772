// Does nothing: what any program costs that the C++ standard library is loaded for.
#include <iostream>

int main() {
  std::cout << "hello\n";
  return 0;
}
