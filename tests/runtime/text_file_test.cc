#include "runtime/text_file.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include "runtime/console.h"

namespace rt {
namespace {

std::string tempPath(const char* name) {
  return testing::TempDir() + "z2v_tf_" + std::to_string(getpid()) + "_" + name;
}

std::string readAll(const std::string& path) {
  std::ifstream f(path, std::ios::binary);
  std::stringstream ss;
  ss << f.rdbuf();
  return ss.str();
}

TEST(TextFile, WritesWhatItIsGiven) {
  std::string path = tempPath("plain");
  TextFile f;
  ASSERT_EQ(f.create(path), 0);
  EXPECT_TRUE(f.isOpen());
  EXPECT_EQ(f.path(), path);
  f.write("a,b");
  f.write(',');
  f.writeLn("c");
  f.writeLn();
  f.write(std::string_view("\0z", 2));
  EXPECT_EQ(f.close(), 0);
  EXPECT_FALSE(f.isOpen());
  EXPECT_EQ(readAll(path), std::string("a,b,c\n\n\0z", 9));
  std::remove(path.c_str());
}

TEST(TextFile, LargeAndManySmallWritesKeepTheirOrder) {
  std::string path = tempPath("large");
  std::string expect;
  TextFile f;
  ASSERT_EQ(f.create(path), 0);
  for (int i = 0; i < 50000; ++i) {
    std::string line = std::to_string(i) + std::string(i % 13, '.');
    f.writeLn(line);
    expect += line + "\n";
    if (i % 9973 == 0) {
      std::string chunk(200000 + i, static_cast<char>('A' + i % 26));  // larger than the buffer
      f.write(chunk);
      expect += chunk;
    }
  }
  EXPECT_EQ(f.flush(), 0);
  EXPECT_EQ(readAll(path), expect);  // flushed text is on disk while open
  EXPECT_EQ(f.close(), 0);
  std::remove(path.c_str());
}

TEST(TextFile, CreateTruncates) {
  std::string path = tempPath("trunc");
  {
    TextFile f;
    ASSERT_EQ(f.create(path), 0);
    f.write("long old contents");
  }  // the destructor flushes and closes
  EXPECT_EQ(readAll(path), "long old contents");
  TextFile f;
  ASSERT_EQ(f.create(path), 0);
  f.write("new");
  EXPECT_EQ(f.close(), 0);
  EXPECT_EQ(readAll(path), "new");
  std::remove(path.c_str());
}

TEST(TextFile, CreateFailureGivesItsReason) {
  TextFile f;
  EXPECT_EQ(f.create(tempPath("no_such_dir") + "/x.vd"), ENOENT);
  EXPECT_FALSE(f.isOpen());
  EXPECT_EQ(f.ioResult(), ENOENT);
  f.write("lost?");
  EXPECT_EQ(f.close(), ENOENT);
  EXPECT_EQ(f.create(testing::TempDir()), EISDIR);
}

// /dev/full takes the open but refuses every byte with ENOSPC.
TEST(TextFile, FailedWriteIsReportedByFlushAndClose) {
  TextFile f;
  ASSERT_EQ(f.create("/dev/full"), 0);
  f.writeLn("fits in the buffer");
  EXPECT_EQ(f.ioResult(), 0);  // nothing has reached the device yet
  EXPECT_EQ(f.flush(), ENOSPC);
  f.writeLn("dropped");
  EXPECT_EQ(f.ioResult(), ENOSPC);
  EXPECT_EQ(f.flush(), ENOSPC);
  EXPECT_EQ(f.close(), ENOSPC);
  EXPECT_EQ(f.ioResult(), ENOSPC);
  EXPECT_EQ(f.close(), ENOSPC);  // still reported after closing
}

TEST(TextFile, FailureOnAFullBufferIsKept) {
  TextFile f;
  ASSERT_EQ(f.create("/dev/full"), 0);
  std::string chunk(1000, 'x');
  for (int i = 0; i < 200; ++i) f.write(chunk);  // overflows the buffer: spills
  EXPECT_EQ(f.ioResult(), ENOSPC);
  EXPECT_EQ(f.close(), ENOSPC);
}

// Text built in place goes out at the same points as the same text written:
// the bytes on disk agree after every line, not only at the end.
TEST(TextFile, RoomSpillsWhereWriteWould) {
  std::string writtenPath = tempPath("written"), builtPath = tempPath("built");
  TextFile written, built;
  ASSERT_EQ(written.create(writtenPath), 0);
  ASSERT_EQ(built.create(builtPath), 0);
  for (int i = 0; i < 3000; ++i) {
    std::string line = std::to_string(i) + std::string(static_cast<size_t>(i * 7 % 311), 'q');
    written.write(line);
    written.write('\n');
    char* p = built.room(line.size() + 1);
    ASSERT_NE(p, nullptr);
    std::memcpy(p, line.data(), line.size());
    p[line.size()] = '\n';
    built.commit(line.size() + 1);
    ASSERT_EQ(readAll(builtPath), readAll(writtenPath)) << "after line " << i;
  }
  EXPECT_EQ(built.room(size_t{1} << 20), nullptr);  // more than the buffer holds
  EXPECT_EQ(built.ioResult(), 0);
  EXPECT_EQ(written.close(), 0);
  EXPECT_EQ(built.close(), 0);
  EXPECT_EQ(readAll(builtPath), readAll(writtenPath));
  std::remove(writtenPath.c_str());
  std::remove(builtPath.c_str());

  TextFile never;
  EXPECT_EQ(never.room(1), nullptr);
  EXPECT_EQ(never.ioResult(), EBADF);
  TextFile full;
  ASSERT_EQ(full.create("/dev/full"), 0);
  ASSERT_NE(full.room(60000), nullptr);
  full.commit(60000);
  EXPECT_EQ(full.room(10000), nullptr);  // the spill failed
  EXPECT_EQ(full.ioResult(), ENOSPC);
  EXPECT_EQ(full.close(), ENOSPC);
}

TEST(TextFile, CloseWithoutWritingToFullDeviceIsFine) {
  TextFile f;
  ASSERT_EQ(f.create("/dev/full"), 0);
  EXPECT_EQ(f.close(), 0);
}

TEST(TextFile, WritingToAFileThatIsNotOpenIsAFailure) {
  TextFile never;
  never.write("x");
  EXPECT_EQ(never.ioResult(), EBADF);

  std::string path = tempPath("closed");
  TextFile f;
  ASSERT_EQ(f.create(path), 0);
  EXPECT_EQ(f.close(), 0);
  f.writeLn("after close");
  EXPECT_EQ(f.ioResult(), EBADF);
  EXPECT_EQ(readAll(path), "");
  // A new create starts clean.
  ASSERT_EQ(f.create(path), 0);
  EXPECT_EQ(f.ioResult(), 0);
  EXPECT_EQ(f.close(), 0);
  std::remove(path.c_str());
}

TEST(TextFile, HaltFlushesEveryOpenFile) {
  const std::string paths[3] = {tempPath("halt_a"), tempPath("halt_b"), tempPath("halt_c")};
  const char* texts[3] = {"first", "second", "third"};
  EXPECT_EXIT(
      {
        TextFile files[3];
        for (int i = 0; i < 3; ++i) {
          files[i].create(paths[i]);
          files[i].write(texts[i]);
        }
        files[1].close();  // a closed file leaves the list of open files
        halt(3);
      },
      testing::ExitedWithCode(3), "");
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(readAll(paths[i]), texts[i]);
    std::remove(paths[i].c_str());
  }
}

// A block of lines built outside the file follows the file's own buffer on
// every way out: flush, close, a later write, and a halt (internal error).
TEST(TextFile, AttachedChunkFollowsTheBufferOnEveryWayOut) {
  enum Way { kFlush, kClose, kWrite, kHalt, kInternalError };
  const struct {
    Way way;
    const char* expect;
  } rows[] = {
      {kFlush, "head,line 1\nline 2\n"},         {kClose, "head,line 1\nline 2\n"},
      {kWrite, "head,line 1\nline 2\ntail"},     {kHalt, "head,line 1\nline 2\n"},
      {kInternalError, "head,line 1\nline 2\n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.way);
    std::string path = tempPath("chunk");
    auto fill = [&](TextFile& f, std::string& chunk, size_t& used) {
      ASSERT_EQ(f.create(path), 0);
      f.write("head,");
      chunk = "line 1\nline 2\nnot yet a line";
      used = 14;  // the text after the last line end is not part of the file
      f.attachChunk(chunk.data(), &used);
    };
    if (row.way == kHalt || row.way == kInternalError) {
      EXPECT_EXIT(
          {
            TextFile f;
            std::string chunk;
            size_t used = 0;
            fill(f, chunk, used);
            std::fflush(stdout);
            dup2(2, 1);
            if (row.way == kHalt) halt(4);
            internalError("test");
          },
          testing::ExitedWithCode(row.way == kHalt ? 4 : 1), "");
    } else {
      TextFile f;
      std::string chunk;
      size_t used = 0;
      fill(f, chunk, used);
      if (row.way == kFlush) {
        EXPECT_EQ(f.flush(), 0);
      } else if (row.way == kClose) {
        EXPECT_EQ(f.close(), 0);
      } else {
        f.write("tail");
        EXPECT_EQ(readAll(path), "head,line 1\nline 2\n");  // the chunk went first
        EXPECT_EQ(f.close(), 0);
      }
      EXPECT_EQ(used, 0u);
      f.attachChunk(nullptr, nullptr);
    }
    EXPECT_EQ(readAll(path), row.expect);
    std::remove(path.c_str());
  }
}

TEST(Console, InternalErrorReportsOnStandardOutputAndEndsWithCode1) {
  EXPECT_EXIT(
      {
        std::fflush(stdout);
        dup2(2, 1);  // standard output onto stderr, where the death test looks
        out("before ");
        internalError("a place outside its tab");
      },
      testing::ExitedWithCode(1), "^before \\*\\*\\* Internal error: a place outside its tab\n$");
}

}  // namespace
}  // namespace rt
