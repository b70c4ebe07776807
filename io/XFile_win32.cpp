#include <windows.h>
// windows.h first
#include <aclapi.h>

#include <algorithm>
#include <vector>

#include "io/FileFaults.h"
#include "io/XFile.h"

namespace {
// CreateFileW takes MAX_PATH; the calls that work on names in a directory
// (MoveFileExW, DeleteFileW, SetFileAttributesW, CreateDirectoryW) leave room
// for an 8.3 file name and stop at 248.
constexpr std::size_t kOpenPathLimit = 260;
constexpr std::size_t kNamePathLimit = 248;

// The largest piece one ReadFile or WriteFile call is asked to move.
constexpr std::int64_t kMaxPiece = 0x80000000;

constexpr std::uint32_t kErrorInvalidParameter = ERROR_INVALID_PARAMETER;

HANDLE Native(FileHandle handle) { return reinterpret_cast<HANDLE>(handle); }

const wchar_t* Wide(const std::u16string& text) { return reinterpret_cast<const wchar_t*>(text.c_str()); }

DWORD MoveMethod(SeekOrigin origin) {
  switch (origin) {
    case SeekOrigin::Current:
      return FILE_CURRENT;
    case SeekOrigin::End:
      return FILE_END;
    case SeekOrigin::Begin:
      break;
  }
  return FILE_BEGIN;
}
}  // namespace

std::uint64_t XFile::TickMs() { return GetTickCount64(); }

void XFile::SleepMs(std::uint32_t ms) { Sleep(ms); }

bool XFile::Attempt(std::u16string_view path, std::uint32_t access, std::uint32_t disposition) {
  owns_ = true;
  const std::u16string longPath = LongPath(path, kOpenPathLimit);
  const HANDLE h =
      CreateFileW(Wide(longPath), access, shareMode_, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (h == INVALID_HANDLE_VALUE) {
    lastError_ = GetLastError();
    return false;
  }
  handle_ = reinterpret_cast<FileHandle>(h);
  return true;
}

void XFile::Close() {
  if (handle_ != kInvalidFileHandle && owns_) CloseHandle(Native(handle_));
  handle_ = kInvalidFileHandle;
}

std::int64_t XFile::Read(void* buffer, std::int64_t count, bool* error) {
  if (error) *error = false;
  if (count == 0) return 0;
  if (count < 0 || buffer == nullptr || !IsOpen()) {
    lastError_ = kErrorInvalidParameter;
    if (error) *error = true;
    return 0;
  }
  auto* p = static_cast<char*>(buffer);
  std::int64_t done = 0;
  while (done < count) {
    const auto piece = DWORD(std::min(count - done, kMaxPiece));
    DWORD got = 0;
    SetLastError(0);
    const BOOL ok = ReadFile(Native(handle_), p + done, piece, &got, nullptr);
    const DWORD code = GetLastError();
    if ((!ok && code != kErrorHandleEof) || got > piece) {
      lastError_ = got > piece ? DWORD(ERROR_INVALID_DATA) : code;
      if (error) *error = true;
      return done;
    }
    done += got;
    if (got < piece) {
      if (code != 0 && code != kErrorHandleEof) {
        lastError_ = code;
        if (error) *error = true;
      }
      break;
    }
  }
  return done;
}

bool XFile::Write(const void* buffer, std::int64_t count) {
  if (FileFaultHits(FileOp::Write)) {
    lastError_ = kErrorInjectedFault;
    return false;
  }
  if (count == 0) return true;
  if (count < 0 || buffer == nullptr || !IsOpen()) {
    lastError_ = kErrorInvalidParameter;
    return false;
  }
  const auto* p = static_cast<const char*>(buffer);
  std::int64_t done = 0;
  while (done < count) {
    const auto piece = DWORD(std::min(count - done, kMaxPiece));
    DWORD put = 0;
    if (!WriteFile(Native(handle_), p + done, piece, &put, nullptr)) {
      lastError_ = GetLastError();
      return false;
    }
    if (put == 0 || put > piece) {
      lastError_ = put == 0 ? DWORD(ERROR_DISK_FULL) : DWORD(ERROR_INVALID_DATA);
      return false;
    }
    done += put;
  }
  return true;
}

bool XFile::Seek(std::int64_t position, SeekOrigin origin) {
  if (FileFaultHits(FileOp::Seek)) {
    lastError_ = kErrorInjectedFault;
    return false;
  }
  LONG high = LONG(position >> 32);
  SetLastError(0);
  const DWORD low = SetFilePointer(Native(handle_), LONG(DWORD(position & 0xFFFFFFFF)), &high, MoveMethod(origin));
  if (low == INVALID_SET_FILE_POINTER && GetLastError() != NO_ERROR) {
    lastError_ = GetLastError();
    return false;
  }
  return true;
}

std::int64_t XFile::Tell() {
  LONG high = 0;
  SetLastError(0);
  const DWORD low = SetFilePointer(Native(handle_), 0, &high, FILE_CURRENT);
  if (low == INVALID_SET_FILE_POINTER && GetLastError() != NO_ERROR) {
    lastError_ = GetLastError();
    return -1;
  }
  return std::int64_t((std::uint64_t(DWORD(high)) << 32) | low);
}

std::int64_t XFile::Size() {
  DWORD high = 0;
  SetLastError(0);
  const DWORD low = GetFileSize(Native(handle_), &high);
  if (low == INVALID_FILE_SIZE && GetLastError() != NO_ERROR) {
    lastError_ = GetLastError();
    return -1;
  }
  return std::int64_t((std::uint64_t(high) << 32) | low);
}

bool XFile::SetSize(std::int64_t length) {
  if (length < 0) {
    lastError_ = kErrorInvalidParameter;
    return false;
  }
  if (!Seek(length)) return false;
  if (!SetEndOfFile(Native(handle_))) {
    lastError_ = GetLastError();
    return false;
  }
  return true;
}

bool XFile::Rename(std::u16string_view to) {
  if (FileFaultHits(FileOp::Rename)) {
    lastError_ = kErrorInjectedFault;
    return false;
  }
  if (path_.empty() || to.empty()) {
    lastError_ = kErrorInvalidParameter;
    return false;
  }
  const std::u16string from = LongPath(path_, kNamePathLimit);
  const std::u16string target = LongPath(to, kNamePathLimit);
  // Write-through: the rename is on the device when the call returns.
  if (!MoveFileExW(Wide(from), Wide(target), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
    lastError_ = GetLastError();
    return false;
  }
  return true;
}

bool XFile::RemoveFile(std::u16string_view path, bool secondTry) {
  const std::u16string longPath = LongPath(path, kNamePathLimit);
  SetLastError(0);
  if (DeleteFileW(Wide(longPath))) return true;
  if (secondTry || GetLastError() != kErrorAccessDenied) return false;
  const DWORD attributes = GetFileAttributesW(Wide(longPath));
  if (attributes == INVALID_FILE_ATTRIBUTES) return false;
  SetFileAttributesW(Wide(longPath), attributes & ~DWORD(FILE_ATTRIBUTE_READONLY));
  return RemoveFile(path, true);
}

bool XFile::Exists(std::u16string_view path) {
  if (path.empty()) return false;
  const std::u16string longPath = LongPath(path, kOpenPathLimit);
  WIN32_FIND_DATAW found{};
  const HANDLE h = FindFirstFileW(Wide(longPath), &found);
  if (h == INVALID_HANDLE_VALUE) return false;
  FindClose(h);
  return true;
}

bool XFile::Flush() {
  if (FileFaultHits(FileOp::Flush)) {
    lastError_ = kErrorInjectedFault;
    return false;
  }
  if (!FlushFileBuffers(Native(handle_))) {
    lastError_ = GetLastError();
    return false;
  }
  return true;
}

std::uint32_t XFile::LinkCount() {
  BY_HANDLE_FILE_INFORMATION info{};
  if (!GetFileInformationByHandle(Native(handle_), &info)) return 0;
  return info.nNumberOfLinks;
}

std::u16string XFile::ResolvedPath() {
  const DWORD attributes = GetFileAttributesW(Wide(LongPath(path_, kOpenPathLimit)));
  if (attributes == INVALID_FILE_ATTRIBUTES || !(attributes & FILE_ATTRIBUTE_REPARSE_POINT)) return path_;
  std::vector<wchar_t> buffer(MAX_PATH);
  for (;;) {
    const DWORD n =
        GetFinalPathNameByHandleW(Native(handle_), buffer.data(), DWORD(buffer.size()), FILE_NAME_NORMALIZED);
    if (n == 0) return path_;
    if (n < buffer.size()) return std::u16string(reinterpret_cast<const char16_t*>(buffer.data()), n);
    buffer.resize(n + 1);
  }
}

bool XFile::CopyAccessFrom(XFile& original) {
  BY_HANDLE_FILE_INFORMATION info{};
  if (!GetFileInformationByHandle(Native(original.handle_), &info)) {
    lastError_ = GetLastError();
    return false;
  }
  constexpr DWORD kKept =
      FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_NOT_CONTENT_INDEXED;
  FILE_BASIC_INFO basic{};
  basic.FileAttributes = (info.dwFileAttributes & kKept) ? (info.dwFileAttributes & kKept) : FILE_ATTRIBUTE_NORMAL;
  if (!SetFileInformationByHandle(Native(handle_), FileBasicInfo, &basic, sizeof basic)) {
    lastError_ = GetLastError();
    return false;
  }
  // The access list travels as the original has it, inherited entries and all;
  // the owner stays ours unless the process holds the privilege to give files away.
  PACL dacl = nullptr;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  DWORD status = GetSecurityInfo(Native(original.handle_), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                                 &dacl, nullptr, &descriptor);
  if (status == ERROR_SUCCESS) {
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD revision = 0;
    GetSecurityDescriptorControl(descriptor, &control, &revision);
    const SECURITY_INFORMATION which =
        DACL_SECURITY_INFORMATION |
        ((control & SE_DACL_PROTECTED) ? PROTECTED_DACL_SECURITY_INFORMATION : UNPROTECTED_DACL_SECURITY_INFORMATION);
    status = SetSecurityInfo(Native(handle_), SE_FILE_OBJECT, which, nullptr, nullptr, dacl, nullptr);
    LocalFree(descriptor);
  }
  if (status != ERROR_SUCCESS) {
    lastError_ = status;
    return false;
  }
  return true;
}

// NTFS journals its directory entries, and the rename itself was written through.
bool XFile::SyncDirectoryOf(std::u16string_view) { return true; }

bool XFile::CopyFrom(XFile& source, std::int64_t from, std::int64_t count, std::int64_t at) {
  return CopyThroughBuffer(source, from, count, at);
}
