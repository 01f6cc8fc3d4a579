// TourStreams.cpp — the tour's stream sections: memory streams, file streams, existence tests.
#include "Tour.h"

#include <VarnUtilityLib/VarnUtilityLib.h>

#include <chrono>
#include <filesystem>
#include <string>

namespace varnutil {
namespace {

std::string yesNo(bool b) {
    return b ? "true" : "false";
}

std::string num(unsigned long long n) {
    return std::to_string(n);
}

std::string bytesText(unsigned char const* bytes, unsigned long long n) {
    std::string quoted(1, '"');
    quoted.append(reinterpret_cast<char const*>(bytes), n);
    quoted.push_back('"');
    return quoted;
}

// A scratch folder of the tour's own, removed at the end of the section.
struct Scratch {
    Scratch() {
        auto stamp = std::chrono::steady_clock::now().time_since_epoch().count();
        path = std::filesystem::temp_directory_path() / ("varnutil-tour-" + std::to_string(stamp));
        std::filesystem::create_directories(path);
    }
    ~Scratch() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    std::filesystem::path path;
};

void memoryStreams(std::ostream& out) {
    char text[] = "0123456789";
    CUSharedPtr<CUMemoryStream> stream(new CUMemoryStream(text, 10, true));
    unsigned char buffer[16];
    unsigned long long n = stream->Read(buffer, 4, 8, CUStream_Seek_Origin_Begin);
    Show(out, "10-byte stream, 4 bytes at 8", (num(n) + " " + bytesText(buffer, n)).c_str());
    n = stream->Read(buffer, 4, -2, CUStream_Seek_Origin_End);
    Show(out, "4 bytes at End-2", (num(n) + " " + bytesText(buffer, n)).c_str());
    Show(out, "SetReadaleRange({5, 6})", num(stream->SetReadaleRange({5, 6})).c_str());
    Show(out, "SetReadaleRange({3, 4})", num(stream->SetReadaleRange({3, 4})).c_str());
    n = stream->Read(buffer, 10, 2, CUStream_Seek_Origin_Begin);
    Show(out, "then 10 bytes at 2 (before range)", num(n).c_str());
    n = stream->Read(buffer, 10, 3, CUStream_Seek_Origin_Begin);
    Show(out, "then 10 bytes at 3", (num(n) + " " + bytesText(buffer, n)).c_str());
    try {
        stream->Write(buffer, 1, 0, CUStream_Seek_Origin_Begin);
    } catch (unsigned int code) {
        Show(out, "Write on a memory stream throws", num(code).c_str());
    }
    _CURange whole{0, 10};
    CUSharedPtr<CUMemoryStream> copy = CUMemoryStream::CreateMemoryStreamPtr(
        CUSharedPtr<CUStream>(new CUMemoryStream(text, 10, false)), whole);
    Show(out, "CreateMemoryStreamPtr of 10 bytes", copy ? "a stream" : "null");
    _CURange tooLong{5, 10};
    CUSharedPtr<CUMemoryStream> failed = CUMemoryStream::CreateMemoryStreamPtr(copy, tooLong);
    Show(out, "... of 10 bytes at 5 (short)", failed ? "a stream" : "null, nothing thrown");
}

void fileStreams(std::ostream& out) {
    Scratch scratch;
    std::string const file = (scratch.path / "tour.bin").string();
    CUStringMac path(file.c_str(), CUString_CharCode_UTF8);
    try {
        CUFileStream missing(&path, CUStream_FileMode_Open, CUStream_FileAccess_Read, false);
    } catch (unsigned int code) {
        Show(out, "Open of a missing file throws", num(code).c_str());
    }
    {
        CUFileStream stream(&path, CUStream_FileMode_CreateNew, CUStream_FileAccess_ReadWrite,
                            false);
        unsigned char hello[] = "hello, world";
        stream.Write(hello, 12, 0, CUStream_Seek_Origin_Begin);
        Show(out, "CreateNew, wrote 12 bytes: length", num(stream.Length()).c_str());
        unsigned char tail[] = "!";
        stream.Write(tail, 1, 20, CUStream_Seek_Origin_Begin);
        Show(out, "1 byte at 20 grows it to", num(stream.Length()).c_str());
        unsigned char buffer[32];
        unsigned long long n = stream.Read(buffer, 50, 7, CUStream_Seek_Origin_Begin);
        Show(out, "50 bytes at 7 are clipped to", num(n).c_str());
        Show(out, "position after the read", num(stream.Position()).c_str());
        Show(out, "Seek(5, Begin)", num(stream.Seek(5, CUStream_Seek_Origin_Begin)).c_str());
    }
    try {
        CUFileStream again(&path, CUStream_FileMode_CreateNew, CUStream_FileAccess_Write, false);
    } catch (unsigned int code) {
        Show(out, "CreateNew, file present: throws", num(code).c_str());
    }
    {
        CUFileStream append(&path, CUStream_FileMode_Append, CUStream_FileAccess_Write, false);
        Show(out, "Append opens at position", num(append.Position()).c_str());
        __CFData const* data = CUPlatformDataCreate("++", 2);
        append.WriteCFData(data, 0, CUStream_Seek_Origin_Current);
        CUPlatformRelease(data);
        Show(out, "after WriteCFData of 2 bytes", num(append.Length()).c_str());
        append.SetLength(5);
        Show(out, "SetLength(5): length, position",
             (num(append.Length()) + ", " + num(append.Position())).c_str());
    }
    CUFileStream readOnly(&path, CUStream_FileMode_Open, CUStream_FileAccess_Read, false);
    readOnly.SetLength(1);
    Show(out, "SetLength on a read-only stream",
         readOnly.IsOSFileHandleValid() ? "stream still open"
                                        : "closes the stream, nothing thrown");
    CUFileStream quiet(nullptr, CUStream_FileMode_Open, CUStream_FileAccess_Read, true);
    Show(out, "null path with noThrow: CanRead", yesNo(quiet.CanRead()).c_str());
}

void existence(std::ostream& out) {
    Scratch scratch;
    std::string const folder = scratch.path.string();
    std::string const file = (scratch.path / "present.txt").string();
    CUStringMac folderPath(folder.c_str(), CUString_CharCode_UTF8);
    CUStringMac filePath(file.c_str(), CUString_CharCode_UTF8);
    Show(out, "CUFile::Exists before creating", yesNo(CUFile::Exists(&filePath)).c_str());
    { CUFileStream create(&filePath, CUStream_FileMode_Create, CUStream_FileAccess_Write, false); }
    Show(out, "CUFile::Exists after creating", yesNo(CUFile::Exists(&filePath)).c_str());
    Show(out, "CUFile::Exists on a folder", yesNo(CUFile::Exists(&folderPath)).c_str());
    Show(out, "CUDirectory::Exists on the folder", yesNo(CUDirectory::Exists(&folderPath)).c_str());
    Show(out, "CUDirectory::Exists on the file", yesNo(CUDirectory::Exists(&filePath)).c_str());
    Show(out, "CUFile::Exists(null)",
         yesNo(CUFile::Exists(static_cast<CUStringMac*>(nullptr))).c_str());
}

TourSection memorySection(60, "Streams: memory streams and the readable range", memoryStreams);
TourSection fileSection(61, "Streams: file streams", fileStreams);
TourSection existenceSection(62, "Files and folders: existence tests", existence);

} // namespace
} // namespace varnutil
