// Holds a file the way a program with no sharing would, for the sharing
// retry tests: file_holder FILE MILLISECONDS. Once the file is held it
// creates FILE.held, so the test knows when to start.
#include <windows.h>

#include <cwchar>
#include <string>

int wmain(int argc, wchar_t** argv) {
  if (argc != 3) return 1;
  const HANDLE file =
      CreateFileW(argv[1], GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return 2;
  const std::wstring marker = std::wstring(argv[1]) + L".held";
  const HANDLE m =
      CreateFileW(marker.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (m == INVALID_HANDLE_VALUE) return 3;
  CloseHandle(m);
  Sleep(DWORD(std::wcstoul(argv[2], nullptr, 10)));
  CloseHandle(file);
  return 0;
}
