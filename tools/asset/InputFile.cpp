#include "InputFile.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace QuillmarshEngine { namespace AssetTool {

namespace {

const char* fileKind(const mode_t mode) {
    if(S_ISFIFO(mode)) return "a FIFO";
    if(S_ISCHR(mode)) return "a character device";
    if(S_ISBLK(mode)) return "a block device";
    if(S_ISSOCK(mode)) return "a socket";
    return "not a regular file";
}

}

std::unique_ptr<InputFile> InputFile::open(const std::string& path, std::string& error) {
    /* Non-blocking, so that a FIFO is refused instead of waiting for a writer */
    const int fd = ::open(path.c_str(), O_RDONLY|O_NONBLOCK|O_CLOEXEC|O_NOCTTY);
    if(fd < 0) {
        error = path + ": " + std::strerror(errno);
        return nullptr;
    }
    struct stat info;
    if(::fstat(fd, &info) != 0) {
        error = path + ": " + std::strerror(errno);
        ::close(fd);
        return nullptr;
    }
    if(S_ISDIR(info.st_mode)) {
        error = path + ": " + std::strerror(EISDIR);
        ::close(fd);
        return nullptr;
    }
    if(!S_ISREG(info.st_mode)) {
        error = path + ": not a regular file (" + fileKind(info.st_mode) + ")";
        ::close(fd);
        return nullptr;
    }
    if(info.st_size == 0) {
        error = path + ": empty file, not asset data";
        ::close(fd);
        return nullptr;
    }
    return std::unique_ptr<InputFile>{new InputFile{path, fd, std::uint64_t(info.st_size)}};
}

InputFile::InputFile(std::string path, const int fd, const std::uint64_t size): _path{std::move(path)}, _fd{fd}, _size{size} {}

InputFile::~InputFile() {
    if(_mapping) ::munmap(_mapping, std::size_t(_size));
    ::close(_fd);
}

std::span<const char> InputFile::map(std::string& error) {
    if(!_mapping) {
        if(_size > std::uint64_t(SIZE_MAX)) {
            error = _path + ": " + std::strerror(EFBIG);
            return {};
        }
        void* const mapping = ::mmap(nullptr, std::size_t(_size), PROT_READ, MAP_PRIVATE, _fd, 0);
        if(mapping == MAP_FAILED) {
            error = _path + ": can't map " + std::to_string(_size) + " bytes: " + std::strerror(errno);
            return {};
        }
        _mapping = mapping;
    }
    return {static_cast<const char*>(_mapping), std::size_t(_size)};
}

std::int64_t InputFile::readAt(const std::uint64_t offset, const std::span<char> out, std::string& error) const {
    std::size_t done = 0;
    while(done != out.size()) {
        const ssize_t got = ::pread(_fd, out.data() + done, out.size() - done, off_t(offset + done));
        if(got < 0) {
            if(errno == EINTR) continue;
            error = _path + ": " + std::strerror(errno);
            return -1;
        }
        if(got == 0) break;
        done += std::size_t(got);
    }
    return std::int64_t(done);
}

WindowReader::WindowReader(const InputFile& file, const std::size_t windowSize): _file{file}, _window{new char[windowSize]}, _windowSize{windowSize} {}

std::span<const char> WindowReader::at(const std::uint64_t offset, const std::size_t size, std::string& error) {
    if(size > _windowSize || offset > _file.size() || size > _file.size() - offset) return {};
    if(offset < _start || offset + size > _start + _filled) {
        const std::int64_t got = _file.readAt(offset, {_window.get(), _windowSize}, error);
        if(got < 0) return {};
        _start = offset;
        _filled = std::size_t(got);
        if(_filled < size) return {};
    }
    return {_window.get() + (offset - _start), size};
}

}}
