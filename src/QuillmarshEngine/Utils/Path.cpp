#include "QuillmarshEngine/Utils/Path.h"

#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace QuillmarshEngine { namespace Utils { namespace Path {

namespace {

/* Takes the error number as soon as the failing call returns, before anything else can touch it */
template<class T> Result<T> failure(const char* what, const std::string& path, const int error) {
    return Result<T>::fail(std::string{what} + " " + path + ": " + std::strerror(error));
}

using File = std::unique_ptr<std::FILE, int(*)(std::FILE*)>;

/* Reads the rest of an open file into out; the size is only a hint, so that files that grow or
   report no size (pipes, /proc) still read whole */
template<class Container> bool readAll(std::FILE* file, Container& out) {
    struct stat info;
    std::size_t capacity = fstat(fileno(file), &info) == 0 && info.st_size > 0 ? std::size_t(info.st_size) + 1 : 4096;
    std::size_t size = 0;
    for(;;) {
        out.resize(capacity);
        size += std::fread(out.data() + size, 1, capacity - size, file);
        if(size < capacity) break;
        capacity *= 2;
    }
    out.resize(size);
    return !std::ferror(file);
}

template<class Container> Result<Container> readInto(const std::string& path) {
    File file{std::fopen(path.c_str(), "rb"), std::fclose};
    if(!file) return failure<Container>("can't open", path, errno);
    Container out;
    if(!readAll(file.get(), out)) return failure<Container>("can't read", path, errno);
    return out;
}

}

std::string join(const std::string_view path, const std::string_view filename) {
    if(path.empty() || filename.starts_with('/')) return std::string{filename};
    std::string out;
    out.reserve(path.size() + 1 + filename.size());
    out.append(path);
    if(!path.ends_with('/')) out += '/';
    out.append(filename);
    return out;
}

std::pair<std::string_view, std::string_view> split(const std::string_view path) {
    const std::size_t slash = path.rfind('/');
    if(slash == std::string_view::npos) return {{}, path};
    /* The root keeps its slash, any other directory loses it */
    return {path.substr(0, slash ? slash : 1), path.substr(slash + 1)};
}

std::string_view directory(const std::string_view path) {
    return split(path).first;
}

std::string_view filename(const std::string_view path) {
    return split(path).second;
}

std::pair<std::string_view, std::string_view> splitExtension(const std::string_view path) {
    const std::string_view name = filename(path);
    const std::size_t dot = name.rfind('.');
    if(dot == std::string_view::npos || dot == 0) return {path, {}};
    const std::size_t at = path.size() - name.size() + dot;
    return {path.substr(0, at), path.substr(at)};
}

bool exists(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0;
}

bool isDirectory(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

Result<void> make(const std::string& path) {
    if(path.empty() || isDirectory(path)) return {};
    /* Something else in the way is named as the obstacle */
    if(exists(path)) return failure<void>("can't make", path, ENOTDIR);
    const std::string_view parent = directory(path);
    if(!parent.empty() && parent != path) {
        if(const Result<void> made = make(std::string{parent}); !made) return made;
    }
    /* Another process may have made it meanwhile */
    if(mkdir(path.c_str(), 0777) != 0 && !(errno == EEXIST && isDirectory(path)))
        return failure<void>("can't make", path, errno);
    return {};
}

Result<std::vector<char>> read(const std::string& path) {
    return readInto<std::vector<char>>(path);
}

Result<std::string> readString(const std::string& path) {
    return readInto<std::string>(path);
}

Result<void> write(const std::string& path, const std::span<const char> data) {
    std::FILE* const file = std::fopen(path.c_str(), "wb");
    if(!file) return failure<void>("can't open", path, errno);
    if(!data.empty() && std::fwrite(data.data(), 1, data.size(), file) != data.size()) {
        const int error = errno;
        std::fclose(file);
        return failure<void>("can't write", path, error);
    }
    /* Closing flushes, and a full disk may only show there */
    if(std::fclose(file) != 0) return failure<void>("can't write", path, errno);
    return {};
}

Result<void> replace(const std::string& path, const std::span<const char> data) {
    const std::string temporary = path + ".tmp-" + std::to_string(getpid());
    if(const Result<void> written = write(temporary, data); !written) {
        std::remove(temporary.c_str());
        return written;
    }
    if(std::rename(temporary.c_str(), path.c_str()) != 0) {
        const Result<void> failed = failure<void>("can't replace", path, errno);
        std::remove(temporary.c_str());
        return failed;
    }
    return {};
}

}}}
