// Files as ordinary SDK code meets them.

#include "tests/platform/own_machine.h"

namespace {

using own_machine::is_layer;
using own_machine::read_file;
using own_machine::untouched;
using own_machine::write_file;

constexpr DWORD read_write = static_cast<DWORD>(GENERIC_READ) | GENERIC_WRITE;
constexpr DWORD share_both = FILE_SHARE_READ | FILE_SHARE_WRITE;
const std::string folder = "C:\\vlp_file_calls\\";

// An open file that closes itself, and the last error behind the opening.
class File {
 public:
  File(const std::string& path, DWORD access, DWORD share, DWORD disposition,
       DWORD attributes = FILE_ATTRIBUTE_NORMAL) {
    SetLastError(untouched);
    handle_ = CreateFileA(path.c_str(), access, share, nullptr, disposition, attributes, nullptr);
    error_ = GetLastError();
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File() { close(); }

  void close() {
    if (is_open()) {
      EXPECT_TRUE(CloseHandle(handle_));
      handle_ = INVALID_HANDLE_VALUE;
    }
  }
  bool is_open() const { return handle_ != INVALID_HANDLE_VALUE; }
  HANDLE get() const { return handle_; }
  DWORD error() const { return error_; }

 private:
  HANDLE handle_ = INVALID_HANDLE_VALUE;
  DWORD error_ = 0;
};

class FileCalls : public own_machine::MachineTest {
 protected:
  FileCalls() {
    CreateDirectoryA("C:\\vlp_file_calls", nullptr);
    for (const char* name : {"a.dat", "b.dat", "c.dat", "big.dat"}) {
      DeleteFileA((folder + name).c_str());
    }
  }

  const std::string a_ = folder + "a.dat";
  const std::string b_ = folder + "b.dat";
};

DWORD open_error(const std::string& path, DWORD access, DWORD share, DWORD disposition) {
  const File file(path, access, share, disposition);
  EXPECT_FALSE(file.is_open()) << path;
  return file.error();
}

TEST_F(FileCalls, OpenAlwaysTellsAnExistingFileFromANewOne) {
  File made(a_, read_write, FILE_SHARE_READ, OPEN_ALWAYS);
  EXPECT_TRUE(made.is_open());
  EXPECT_EQ(DWORD{ERROR_SUCCESS}, made.error());
  made.close();
  const File found(a_, read_write, FILE_SHARE_READ, OPEN_ALWAYS);
  EXPECT_TRUE(found.is_open());
  EXPECT_EQ(DWORD{ERROR_ALREADY_EXISTS}, found.error());
}

TEST_F(FileCalls, CreateAlwaysEmptiesAndCreateNewRefuses) {
  write_file(a_, "hello");
  EXPECT_EQ(DWORD{ERROR_FILE_EXISTS}, open_error(a_, read_write, 0, CREATE_NEW));
  EXPECT_EQ("hello", read_file(a_));
  File emptied(a_, read_write, 0, CREATE_ALWAYS);
  EXPECT_EQ(DWORD{ERROR_ALREADY_EXISTS}, emptied.error());
  EXPECT_EQ(0U, GetFileSize(emptied.get(), nullptr));
}

TEST_F(FileCalls, OpenExistingWithSuccessClearsTheLastError) {
  write_file(a_, "x");
  const File file(a_, GENERIC_READ, share_both, OPEN_EXISTING);
  EXPECT_TRUE(file.is_open());
  EXPECT_EQ(DWORD{ERROR_SUCCESS}, file.error());
}

TEST_F(FileCalls, WriterThatSharesReadingKeepsOtherWritersOut) {
  const File writer(a_, read_write, FILE_SHARE_READ, OPEN_ALWAYS);
  EXPECT_EQ(DWORD{ERROR_SHARING_VIOLATION},
            open_error(a_, read_write, FILE_SHARE_READ, OPEN_ALWAYS));
  EXPECT_EQ(DWORD{ERROR_SHARING_VIOLATION},
            open_error(a_, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING))
      << "a reader must share writing with the writer that is there";
  EXPECT_EQ(DWORD{ERROR_SHARING_VIOLATION}, open_error(a_, read_write | DELETE, 0, OPEN_EXISTING));
  const File reader(a_, GENERIC_READ, share_both, OPEN_EXISTING);
  EXPECT_TRUE(reader.is_open());
}

TEST_F(FileCalls, ClosedFileNoLongerKeepsOthersOut) {
  File writer(a_, read_write, 0, OPEN_ALWAYS);
  EXPECT_EQ(DWORD{ERROR_SHARING_VIOLATION},
            open_error(a_, GENERIC_READ, share_both, OPEN_EXISTING));
  writer.close();
  const File reader(a_, GENERIC_READ, 0, OPEN_EXISTING);
  EXPECT_TRUE(reader.is_open());
}

TEST_F(FileCalls, RefusedOpeningDoesNotEmptyTheFile) {
  write_file(a_, "hello");
  const File reader(a_, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
  EXPECT_EQ(DWORD{ERROR_SHARING_VIOLATION}, open_error(a_, read_write, 0, CREATE_ALWAYS));
  EXPECT_EQ(5U, GetFileSize(reader.get(), nullptr));
}

TEST_F(FileCalls, OpenFileThatDoesNotShareDeletionIsNeitherMovedNorDeleted) {
  const File writer(a_, read_write, share_both, OPEN_ALWAYS);
  SetLastError(untouched);
  EXPECT_FALSE(MoveFileA(a_.c_str(), b_.c_str()));
  EXPECT_EQ(DWORD{ERROR_SHARING_VIOLATION}, GetLastError());
  SetLastError(untouched);
  EXPECT_FALSE(DeleteFileA(a_.c_str()));
  EXPECT_EQ(DWORD{ERROR_SHARING_VIOLATION}, GetLastError());
}

TEST_F(FileCalls, OpenFileThatSharesDeletionIsMoved) {
  const File reader(a_, read_write, share_both | FILE_SHARE_DELETE, OPEN_ALWAYS);
  EXPECT_TRUE(MoveFileA(a_.c_str(), b_.c_str()));
  EXPECT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesA(a_.c_str()));
}

TEST_F(FileCalls, OpeningFailsWithTheErrorOfWhatIsMissing) {
  EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND},
            open_error(folder + "none", GENERIC_READ, 0, OPEN_EXISTING));
  EXPECT_EQ(DWORD{ERROR_PATH_NOT_FOUND},
            open_error(folder + "none\\x", read_write, 0, OPEN_ALWAYS));
  EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED},
            open_error("C:\\vlp_file_calls", read_write, 0, OPEN_ALWAYS));
  EXPECT_EQ(DWORD{ERROR_PATH_NOT_FOUND}, open_error("", read_write, 0, OPEN_ALWAYS));
  // Documented: a drive that isn't there is a path that isn't found. Wine says 2.
  EXPECT_EQ(static_cast<DWORD>(is_layer() ? ERROR_PATH_NOT_FOUND : ERROR_FILE_NOT_FOUND),
            open_error("Q:\\x", read_write, 0, OPEN_ALWAYS));
}

TEST_F(FileCalls, CharactersThatNoNameMayHoldAreRefused) {
  for (const char* name : {"a|b", "a?b", "a<b", "a>b", "a*b", "a\"b"}) {
    EXPECT_EQ(DWORD{ERROR_INVALID_NAME}, open_error(folder + name, read_write, 0, OPEN_ALWAYS))
        << name;
  }
}

TEST_F(FileCalls, TrailingBlankIsDroppedAndALeadingOneIsKept) {
  { const File made(a_ + " ", read_write, 0, OPEN_ALWAYS); }
  EXPECT_NE(INVALID_FILE_ATTRIBUTES, GetFileAttributesA(a_.c_str()));
  EXPECT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesA((folder + " a.dat").c_str()));
}

TEST_F(FileCalls, PathOf259CharactersWorksAndOneOf261DoesNot) {
  std::string path = folder + std::string(120, 'd');
  CreateDirectoryA(path.c_str(), nullptr);
  path += '\\';
  const std::string longest = path + std::string(259 - path.size(), 'f');
  {
    const File file(longest, read_write, 0, OPEN_ALWAYS);
    EXPECT_TRUE(file.is_open());
  }
  EXPECT_TRUE(DeleteFileA(longest.c_str()));
  EXPECT_EQ(DWORD{ERROR_FILENAME_EXCED_RANGE},
            open_error(longest + "ff", read_write, 0, OPEN_ALWAYS));
}

TEST_F(FileCalls, NamesCompareWithoutCaseAndTakeBothSlashes) {
  write_file(folder + "MiXed.dat", "x");
  EXPECT_EQ("x", read_file("c:/VLP_FILE_CALLS/mixed.DAT"));
  EXPECT_EQ("x", read_file("C:\\vlp_file_calls\\.\\sub\\..\\MIXED.dat"));
  EXPECT_TRUE(DeleteFileA((folder + "mixed.dat").c_str()));
  EXPECT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesA((folder + "MiXed.dat").c_str()));
}

TEST_F(FileCalls, PositionMovesAndTellsTheSize) {
  write_file(a_, "hello");
  const File file(a_, read_write, FILE_SHARE_READ, OPEN_ALWAYS);
  SetLastError(untouched);
  EXPECT_EQ(5U, SetFilePointer(file.get(), 0, nullptr, FILE_END));
  EXPECT_EQ(3U, SetFilePointer(file.get(), -2, nullptr, FILE_CURRENT));
  EXPECT_EQ(9U, SetFilePointer(file.get(), 9, nullptr, FILE_BEGIN)) << "beyond the end is fine";
  EXPECT_EQ(untouched, GetLastError());
  EXPECT_EQ(5U, GetFileSize(file.get(), nullptr));
}

TEST_F(FileCalls, PositionBeforeTheBeginningFails) {
  const File file(a_, read_write, 0, OPEN_ALWAYS);
  SetLastError(untouched);
  EXPECT_EQ(INVALID_SET_FILE_POINTER, SetFilePointer(file.get(), -20, nullptr, FILE_BEGIN));
  EXPECT_EQ(DWORD{ERROR_NEGATIVE_SEEK}, GetLastError());
}

TEST_F(FileCalls, EndOfFileIsSetWhereThePositionIs) {
  write_file(a_, "hello");
  const File file(a_, read_write, 0, OPEN_ALWAYS);
  for (const LONG size : {3, 10, 0}) {
    SetFilePointer(file.get(), size, nullptr, FILE_BEGIN);
    SetLastError(untouched);
    EXPECT_TRUE(SetEndOfFile(file.get()));
    EXPECT_EQ(untouched, GetLastError());
    EXPECT_EQ(static_cast<DWORD>(size), GetFileSize(file.get(), nullptr));
  }
}

TEST_F(FileCalls, SizeBeyond4GiBHasAHighPart) {
  const File file(folder + "big.dat", read_write, 0, CREATE_ALWAYS);
  LONG high = 1;
  EXPECT_EQ(16U, SetFilePointer(file.get(), 16, &high, FILE_BEGIN));
  ASSERT_TRUE(SetEndOfFile(file.get()));
  BY_HANDLE_FILE_INFORMATION info = {};
  EXPECT_TRUE(GetFileInformationByHandle(file.get(), &info));
  EXPECT_EQ(1U, info.nFileSizeHigh);
  EXPECT_EQ(16U, info.nFileSizeLow);
  DWORD size_high = 0;
  EXPECT_EQ(16U, GetFileSize(file.get(), &size_high));
  EXPECT_EQ(1U, size_high);
  LARGE_INTEGER size = {};
  EXPECT_TRUE(GetFileSizeEx(file.get(), &size));
  EXPECT_EQ((LONGLONG{1} << 32) + 16, size.QuadPart);
  // Documented: without a high part a position beyond 4 GiB can't be told, so the call
  // fails. Wine gives the low part.
  const DWORD position = SetFilePointer(file.get(), 0, nullptr, FILE_END);
  EXPECT_EQ(is_layer() ? INVALID_SET_FILE_POINTER : 16U, position);
  SetFilePointer(file.get(), 0, nullptr, FILE_BEGIN);
  EXPECT_TRUE(SetEndOfFile(file.get()));
}

TEST_F(FileCalls, BytesComeBackAndTheEndReadsAsNothing) {
  const std::string bytes("a\0\xFF\r\nz", 6);
  write_file(a_, bytes);
  const File file(a_, GENERIC_READ, 0, OPEN_EXISTING);
  char buffer[16] = {};
  DWORD read = 99;
  EXPECT_TRUE(ReadFile(file.get(), buffer, 16, &read, nullptr));
  EXPECT_EQ(bytes, std::string(buffer, read));
  SetLastError(untouched);
  EXPECT_TRUE(ReadFile(file.get(), buffer, 16, &read, nullptr));
  EXPECT_EQ(0U, read);
  EXPECT_EQ(untouched, GetLastError());
}

TEST_F(FileCalls, WritingNothingIsASuccess) {
  const File file(a_, read_write, 0, OPEN_ALWAYS);
  DWORD written = 99;
  SetLastError(untouched);
  EXPECT_TRUE(WriteFile(file.get(), "", 0, &written, nullptr));
  EXPECT_EQ(0U, written);
  EXPECT_EQ(untouched, GetLastError());
}

TEST_F(FileCalls, HandleGivesNoMoreThanTheAccessThatItWasOpenedWith) {
  write_file(a_, "hello");
  const File reader(a_, GENERIC_READ, share_both, OPEN_EXISTING);
  DWORD count = 0;
  SetLastError(untouched);
  EXPECT_FALSE(WriteFile(reader.get(), "x", 1, &count, nullptr));
  EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, GetLastError());
  EXPECT_FALSE(SetEndOfFile(reader.get()));
  const File writer(a_, GENERIC_WRITE, share_both, OPEN_EXISTING);
  char byte = 0;
  SetLastError(untouched);
  EXPECT_FALSE(ReadFile(writer.get(), &byte, 1, &count, nullptr));
  EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, GetLastError());
}

TEST_F(FileCalls, WrongHandleIsToldBySix) {
  DWORD count = 0;
  SetLastError(untouched);
  EXPECT_FALSE(WriteFile(nullptr, "x", 1, &count, nullptr));
  EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, GetLastError());
  SetLastError(untouched);
  EXPECT_EQ(INVALID_SET_FILE_POINTER, SetFilePointer(nullptr, 0, nullptr, FILE_END));
  EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, GetLastError());
  SetLastError(untouched);
  EXPECT_EQ(INVALID_FILE_SIZE, GetFileSize(nullptr, nullptr));
  EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, GetLastError());
}

TEST_F(FileCalls, MoveNeedsASourceAndAFreeName) {
  write_file(a_, "a");
  write_file(b_, "b");
  SetLastError(untouched);
  EXPECT_FALSE(MoveFileA(a_.c_str(), b_.c_str()));
  EXPECT_EQ(DWORD{ERROR_ALREADY_EXISTS}, GetLastError());
  SetLastError(untouched);
  EXPECT_FALSE(MoveFileA((folder + "none").c_str(), (folder + "c.dat").c_str()));
  EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, GetLastError());
  EXPECT_TRUE(DeleteFileA(b_.c_str()));
  EXPECT_TRUE(MoveFileA(a_.c_str(), b_.c_str()));
  EXPECT_EQ("a", read_file(folder + "B.DAT"));
  EXPECT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesA(a_.c_str()));
}

TEST_F(FileCalls, DeletionTellsWhatIsMissingOrInTheWay) {
  const auto error_of = [](const std::string& path) {
    SetLastError(untouched);
    EXPECT_FALSE(DeleteFileA(path.c_str())) << path;
    return GetLastError();
  };
  EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, error_of(folder + "none"));
  EXPECT_EQ(DWORD{ERROR_PATH_NOT_FOUND}, error_of(folder + "none\\x"));
  EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, error_of("C:\\vlp_file_calls"));
}

TEST_F(FileCalls, ReadOnlyFileIsNeitherWrittenNorDeleted) {
  const std::string path = folder + "read_only.dat";
  {
    const File made(path, read_write, 0, OPEN_ALWAYS, FILE_ATTRIBUTE_READONLY);
    ASSERT_TRUE(made.is_open() || made.error() == ERROR_ACCESS_DENIED);
  }
  EXPECT_NE(0U, GetFileAttributesA(path.c_str()) & FILE_ATTRIBUTE_READONLY);
  if (is_layer()) {  // Wine leaves this to the host, which refuses nothing to an administrator
    EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, open_error(path, read_write, 0, OPEN_EXISTING));
  }
  SetLastError(untouched);
  EXPECT_FALSE(DeleteFileA(path.c_str()));
  EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, GetLastError());
}

TEST_F(FileCalls, FoldersAreMadeOnceAndRemovedWhenEmpty) {
  const std::string path = folder + "sub_folder";
  EXPECT_TRUE(CreateDirectoryA(path.c_str(), nullptr));
  SetLastError(untouched);
  EXPECT_FALSE(CreateDirectoryA(path.c_str(), nullptr));
  EXPECT_EQ(DWORD{ERROR_ALREADY_EXISTS}, GetLastError());
  SetLastError(untouched);
  EXPECT_FALSE(CreateDirectoryA((folder + "none\\x").c_str(), nullptr));
  EXPECT_EQ(DWORD{ERROR_PATH_NOT_FOUND}, GetLastError());
  EXPECT_EQ(DWORD{FILE_ATTRIBUTE_DIRECTORY},
            GetFileAttributesA(path.c_str()) & FILE_ATTRIBUTE_DIRECTORY);
  write_file(path + "\\x", "");
  SetLastError(untouched);
  EXPECT_FALSE(RemoveDirectoryA(path.c_str()));
  EXPECT_EQ(DWORD{ERROR_DIR_NOT_EMPTY}, GetLastError());
  EXPECT_TRUE(DeleteFileA((path + "\\x").c_str()));
  EXPECT_TRUE(RemoveDirectoryA(path.c_str()));
  SetLastError(untouched);
  EXPECT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesA(path.c_str()));
  EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, GetLastError());
}

TEST_F(FileCalls, WrongDispositionIsAWrongParameter) {
  EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, open_error(a_, read_write, 0, 0));
  EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, open_error(a_, read_write, 0, 6));
}

}  // namespace
