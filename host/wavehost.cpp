#include <cstdio>
int main() {
  std::puts("wavehost");
  return 0;
}
