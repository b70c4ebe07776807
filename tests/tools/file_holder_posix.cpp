// Holds a file the way a program with no sharing would, for the sharing
// retry tests: file_holder FILE MILLISECONDS. Once the file is held it
// creates FILE.held, so the test knows when to start.
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

int main(int argc, char** argv) {
  if (argc != 3) return 1;
  const int fd = ::open(argv[1], O_RDWR | O_CLOEXEC);
  if (fd < 0 || ::flock(fd, LOCK_EX | LOCK_NB) != 0) return 2;
  const std::string marker = std::string(argv[1]) + ".held";
  const int m = ::open(marker.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (m < 0) return 3;
  ::close(m);
  ::usleep(useconds_t(std::atoi(argv[2])) * 1000);
  ::close(fd);
  return 0;
}
