// FileStreamFuzz.cpp — sequences of CUFileStream operations on a temporary file, against a
// model of the file and of the stream's fields.
//
// The input chooses the file's starting state (missing or holding some bytes), then a
// sequence of operations: opening with any mode and access (unknown values included), reads,
// writes, seeks, length changes, position queries, readable-range changes and closes, with
// offsets that are mostly small and sometimes any 64-bit value. After each operation the
// stream's answer, its length, position and readable range, and the bytes on disk must equal
// the model's. Offsets that reach far past the data are kept to writes that the model can
// follow (a file of a few hundred kilobytes at most).
#include "FuzzInput.h"

#include <VarnUtilityLib/CUFileStream.h>
#include <VarnUtilityLib/CUStringMac.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

using varn::fuzz::FuzzInput;

namespace {

constexpr std::uint64_t kInt64Max = 0x7fffffffffffffffULL;
constexpr std::uint64_t kModelLimit = 1u << 18; // the largest file the model follows

std::filesystem::path const& Folder() {
    static std::filesystem::path const folder = [] {
        std::random_device random;
        auto path = std::filesystem::temp_directory_path() /
                    ("varn-fuzz-" + std::to_string(random()) + std::to_string(random()));
        std::filesystem::create_directories(path);
        return path;
    }();
    return folder;
}

std::optional<std::string> ReadDisk(std::string const& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return std::nullopt;
    }
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

struct Model {
    std::optional<std::string> disk; // the file, or nothing when missing
    bool open = false;
    bool canRead = false;
    bool canWrite = false;
    std::uint64_t length = 0;
    std::uint64_t position = 0;
    _CURange range{0, 0};
    bool truncationRefused = false; // the last Open failed after opening the file

    void Close() { open = false; }

    std::uint64_t NewPosition(std::int64_t offset, int origin) const {
        std::uint64_t off = static_cast<std::uint64_t>(offset);
        switch (origin) {
        case CUStream_Seek_Origin_Begin:
            return off;
        case CUStream_Seek_Origin_End:
            return off + length;
        case CUStream_Seek_Origin_Current:
            return off + position;
        default:
            return 0;
        }
    }

    _CURange Clip(std::uint64_t count, std::int64_t offset, int origin) const {
        if (count == 0) {
            return {0, 0};
        }
        std::uint64_t start = static_cast<std::uint64_t>(offset);
        switch (origin) {
        case CUStream_Seek_Origin_Begin:
            break;
        case CUStream_Seek_Origin_Current:
            start += position;
            break;
        case CUStream_Seek_Origin_End:
            start += length;
            break;
        default:
            return {0, 0};
        }
        std::uint64_t end = range.location + range.length;
        if (start < range.location || end <= start) {
            return {0, 0};
        }
        return {start, end - start < count ? end - start : count};
    }

    // A change of length resets the readable range, which a write-only stream refuses.
    void Resize(std::uint64_t size) {
        disk->resize(static_cast<std::size_t>(size), '\0');
        length = size;
        ResetRange();
    }

    void ResetRange() {
        if (open && canRead) {
            range = {0, length};
        }
    }

    // The code Init throws, or 0; the file is created or truncated on the way as the stream
    // would.
    unsigned int Open(int mode, int access) {
        open = canRead = canWrite = truncationRefused = false;
        position = 0;
        bool const exists = disk.has_value();
        bool const readOnly = access == CUStream_FileAccess_Read;
        switch (mode) {
        case CUStream_FileMode_Append:
        case CUStream_FileMode_Create:
            if (readOnly) {
                return 4;
            }
            break;
        case CUStream_FileMode_CreateNew:
            if (exists) {
                return 4;
            }
            break;
        case CUStream_FileMode_Open:
            if (!exists) {
                return 9;
            }
            break;
        case CUStream_FileMode_OpenOrCreate:
            break;
        case CUStream_FileMode_Truncate:
            if (readOnly) {
                return 4;
            }
            if (!exists) {
                return 9;
            }
            break;
        default:
            return 4;
        }
        bool const truncate =
            exists && (mode == CUStream_FileMode_Create || mode == CUStream_FileMode_Truncate);
        // An unknown access opens the file for reading only, which cannot be truncated.
        bool const writable =
            access == CUStream_FileAccess_Write || access == CUStream_FileAccess_ReadWrite;
        if (truncate && !writable) {
            truncationRefused = true;
            return 4;
        }
        if (!exists) {
            disk = std::string();
        } else if (truncate) {
            disk->clear();
        }
        open = true;
        canRead = access == CUStream_FileAccess_Read || access == CUStream_FileAccess_ReadWrite;
        canWrite = writable;
        length = disk->size();
        position = mode == CUStream_FileMode_Append ? length : 0;
        range = {0, length};
        return 0;
    }
};

int Origin(FuzzInput& in) {
    std::uint8_t b = in.Byte();
    return b < 0xF0 ? b % 3 : static_cast<int>(static_cast<std::int8_t>(b));
}

void CheckState(CUFileStream* stream, Model const& model, std::string const& path) {
    CHECK(ReadDisk(path) == model.disk);
    if (stream == nullptr) {
        return;
    }
    CHECK(stream->IsOSFileHandleValid() == model.open);
    CHECK(stream->CanRead() == (model.open && model.canRead));
    CHECK(stream->CanWrite() == (model.open && model.canWrite));
    CHECK(stream->CanSeek() == model.open);
    if (model.open) {
        CHECK(stream->Length() == model.length);
        _CURange now = stream->GetReadableRange();
        CHECK(now.location == model.range.location && now.length == model.range.length);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string const path = (Folder() / "file").string();
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
    FuzzInput in(data, size);
    Model model;
    if (in.Byte() % 2 == 1) {
        std::uint8_t const* bytes = nullptr;
        std::size_t n = in.Take(in.Byte(), &bytes);
        model.disk = std::string(reinterpret_cast<char const*>(bytes), n);
        std::ofstream(path, std::ios::binary) << *model.disk;
    }
    CUStringMac name(path.c_str(), CUString_CharCode_UTF8);
    std::unique_ptr<CUFileStream> stream;

    for (int step = 0; step < 48 && !in.Empty(); ++step) {
        std::uint8_t const op = in.Byte();
        if (!stream || op % 10 == 0) {
            int const mode = in.Byte() % 8;   // 6 and 7 are unknown
            int const access = in.Byte() % 4; // 3 is unknown
            stream.reset();                   // closes the earlier stream first
            model.Close();
            unsigned int const expected = model.Open(mode, access);
            unsigned int code = 0;
            try {
                stream.reset(new CUFileStream(&name, static_cast<CUStream_FileMode>(mode),
                                              static_cast<CUStream_FileAccess>(access), false));
            } catch (unsigned int thrown) {
                code = thrown;
            }
            CHECK(code == expected);
            if (code != 0) {
                model.Close();
                stream.reset(new CUFileStream(&name, static_cast<CUStream_FileMode>(mode),
                                              static_cast<CUStream_FileAccess>(access), true));
                // The quiet form fails the same way and changes the disk no further. A file
                // whose truncation was refused stays open, but the stream can do nothing with
                // it but close.
                CHECK(stream->IsOSFileHandleValid() == model.truncationRefused);
                CHECK(!stream->CanRead() && !stream->CanWrite() && !stream->CanSeek());
                stream->Close();
            } else if (mode == CUStream_FileMode_Append) {
                CHECK(stream->Position() == model.position);
            }
            CheckState(stream.get(), model, path);
            continue;
        }
        switch (op % 10) {
        case 1:
        case 2: { // read
            std::uint64_t count = in.Unsigned(2);
            std::int64_t offset = in.Offset();
            int origin = Origin(in);
            bool const reads = model.open && model.canRead;
            _CURange expected = reads ? model.Clip(count, offset, origin) : _CURange{0, 0};
            std::size_t const room = static_cast<std::size_t>(expected.length);
            std::vector<char> out(room + 8, '\x5A');
            std::uint64_t got = stream->Read(reinterpret_cast<unsigned char*>(out.data()), count,
                                             offset, static_cast<CUStream_Seek_Origin>(origin));
            CHECK(got == expected.length);
            CHECK(got == 0 || model.disk->compare(static_cast<std::size_t>(expected.location), room,
                                                  out.data(), room) == 0);
            for (std::size_t i = room; i < out.size(); ++i) {
                CHECK(out[i] == '\x5A');
            }
            if (got != 0) {
                model.position = expected.location + expected.length;
            }
            break;
        }
        case 3:
        case 4: { // write
            std::uint8_t const* bytes = nullptr;
            std::uint64_t const count = in.Take(in.Unsigned(1) * 2, &bytes);
            std::int64_t offset = in.Offset();
            int origin = Origin(in);
            std::vector<unsigned char> buffer(bytes, bytes + count);
            buffer.push_back(0); // a valid pointer even for an empty write
            std::uint64_t const start = model.NewPosition(offset, origin);
            std::uint64_t const end = start + count;
            bool const grows = model.open && model.canWrite && model.length < end;
            // A write the model cannot follow (a file of gigabytes) is not issued.
            if (start <= kInt64Max && grows && end > kModelLimit) {
                break;
            }
            if (start > kInt64Max && grows && end > kModelLimit) {
                break;
            }
            std::uint64_t got = stream->Write(buffer.data(), count, offset,
                                              static_cast<CUStream_Seek_Origin>(origin));
            std::uint64_t expected = 0;
            if (model.open && model.canWrite) {
                if (grows && count == 0) {
                    model.Resize(end); // an empty write past the end grows the file
                    model.position = start;
                } else if (grows && start <= kInt64Max) {
                    model.disk->resize(static_cast<std::size_t>(start), '\0');
                    model.disk->append(reinterpret_cast<char const*>(bytes), count);
                    model.length = end;
                    model.ResetRange();
                    model.position = end;
                    expected = count;
                } else if (grows) {
                    // The write cannot start where no file reaches, but the file is grown to
                    // the (wrapped) end, as resizing first would have done.
                    model.Resize(end);
                } else if (start <= kInt64Max) {
                    model.disk->replace(static_cast<std::size_t>(start), count,
                                        reinterpret_cast<char const*>(bytes), count);
                    model.position = end;
                    expected = count;
                }
            }
            CHECK(got == expected);
            break;
        }
        case 5: { // seek
            std::int64_t offset = in.Offset();
            int origin = Origin(in);
            if (model.open) {
                model.position = model.NewPosition(offset, origin);
            }
            CHECK(stream->Seek(offset, static_cast<CUStream_Seek_Origin>(origin)) ==
                  model.position);
            break;
        }
        case 6: { // set the length
            std::uint64_t length = in.Unsigned(2) * (in.Byte() % 4 + 1);
            if (model.open && model.canWrite) {
                model.Resize(length);
            } else {
                model.Close();
            }
            stream->SetLength(length);
            break;
        }
        case 7: { // position and set position
            CHECK(stream->Position() == model.position);
            if (in.Byte() % 2 == 0) {
                std::uint64_t wanted = in.Unsigned(2);
                if (model.open) {
                    model.position = wanted;
                }
                CHECK(stream->SetPosition(wanted) == model.position);
            }
            break;
        }
        case 8: { // the readable range
            if (in.Byte() % 2 == 0) {
                stream->ResetReadaleRange();
                model.ResetRange();
            } else {
                _CURange wanted{in.Unsigned(2), in.Unsigned(2)};
                bool const accept =
                    model.open && model.canRead && wanted.location + wanted.length <= model.length;
                CHECK((stream->SetReadaleRange(wanted) == kCUStatusSuccess) == accept);
                if (accept) {
                    model.range = wanted;
                }
            }
            break;
        }
        case 9: // close
            stream->Close();
            model.Close();
            break;
        }
        CheckState(stream.get(), model, path);
    }
    stream.reset();
    model.Close();
    CheckState(nullptr, model, path);
    return 0;
}
