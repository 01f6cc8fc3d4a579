// CUFileSpecialFilesTest.cpp — named pipes, sockets and devices: listed and found as files, but
// copies and streams refuse them at once. A named pipe without a writer used to block the open
// for ever, and a device was reported copied with nothing written.
#include "fakes/FileFaults.h"
#include "support/FileTesting.h"

#include <VarnUtilityLib/CUFile.h>
#include <VarnUtilityLib/CUFileStream.h>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>

using namespace varn::test;

TEST(CUFile, NamedPipesSocketsAndDevicesAreRefusedByCopiesAndStreamsWithoutWaiting) {
    alarm(60); // a wait on a pipe ends the program instead of the suite's time
    TempFolder folder;
    std::string const pipe = folder.File("pipe"), socketPath = folder.File("socket");
    ASSERT_EQ(0, ::mkfifo(pipe.c_str(), 0644));
    int const listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, socketPath.c_str(), sizeof address.sun_path - 1);
    ASSERT_EQ(0, ::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address));
    for (std::string const& source : {pipe, socketPath, std::string("/dev/null")}) {
        SCOPED_TRACE(source);
        EXPECT_TRUE(CUFile::Exists(Str(source))) << "listed and found as a file";
        std::string const copy = folder.File("copy");
        EXPECT_NE(0u, CUFile::Copy(Str(source), Str(copy)));
        // The check before a copy with progress opens the source as a stream, which refuses it.
        EXPECT_EQ(9u, CodeOf([&] { CopyFile(source, copy); }));
        EXPECT_EQ(9u, CodeOf([&] { CopyFile(source, copy, true); }));
        EXPECT_FALSE(std::filesystem::exists(copy));
        for (CUStream_FileAccess access : {CUStream_FileAccess_Read, CUStream_FileAccess_Write}) {
            CUSharedPtr<CUStringMac> path = Str(source);
            EXPECT_EQ(5u,
                      CodeOf([&] { CUFileStream(path, CUStream_FileMode_Open, access, false); }));
        }
    }
    ::close(listener);
    alarm(0);
}
