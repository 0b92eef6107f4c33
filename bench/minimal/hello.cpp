// The yardstick of `orvanta-bench startup`: the least a C++ program that prints a line does, built with
// the same compiler, flags and standard library as orvanta.
#include <iostream>

int main() {
  std::cout << "orvanta 0.0.0\n";
  return 0;
}
