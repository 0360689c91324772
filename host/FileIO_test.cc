// Tests of reading what tells no size, as a file of /proc does.
#include "host/FileIO.h"

#include <unistd.h>

#include <cerrno>

#include "host/HostTest.h"

namespace accountsettings {
namespace {

TEST(FileIO, WhatTellsNoSizeIsReadToItsEnd) {
  for (const std::uint64_t limit : {9'999U, 10'000U}) {
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const FileDescriptor reader(ends[0]);
    FileDescriptor writer(ends[1]);
    const Bytes written(10'000, 7);
    ASSERT_TRUE(writeAll(writer, written, "pipe").ok());
    writer.close();
    const Result<Bytes> read = readAll(reader, limit, "pipe");
    ASSERT_EQ(read.ok(), limit >= written.size());
    if (read) {
      EXPECT_EQ(*read, written);
    } else {
      EXPECT_EQ(read.error().message, "pipe: larger than 9999 bytes");
      EXPECT_EQ(read.error().code, EFBIG);
    }
  }
}

}  // namespace
}  // namespace accountsettings
