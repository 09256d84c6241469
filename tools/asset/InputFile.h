#ifndef QuillmarshEngine_tools_asset_InputFile_h
#define QuillmarshEngine_tools_asset_InputFile_h

/* A file named on the command line, opened for reading. Every way it can fail (missing,
   unreadable, a directory, a FIFO, a device, empty, too large to map) becomes a message
   "<path>: <reason>" instead of a crash; nothing reads the file whole into memory. */

#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace QuillmarshEngine { namespace AssetTool {

class InputFile {
    public:
        /* Opens path; returns null and sets error on failure. Only regular files are accepted,
           so opening never blocks (a FIFO without a writer would). */
        static std::unique_ptr<InputFile> open(const std::string& path, std::string& error);

        ~InputFile();
        InputFile(const InputFile&) = delete;
        InputFile& operator=(const InputFile&) = delete;

        const std::string& path() const { return _path; }
        std::uint64_t size() const { return _size; }

        /* The whole file mapped read-only; pages are read when touched, so memory follows what
           the caller looks at, not the file size. The mapping is page-aligned, which satisfies
           the 4-byte alignment of chunks. Empty and error set on failure. */
        std::span<const char> map(std::string& error);

        /* Reads out.size() bytes at offset, fewer at the end of the file; returns the count, or
           -1 with error set */
        std::int64_t readAt(std::uint64_t offset, std::span<char> out, std::string& error) const;

    private:
        explicit InputFile(std::string path, int fd, std::uint64_t size);

        std::string _path;
        int _fd;
        std::uint64_t _size;
        void* _mapping = nullptr;
};

/* Reads a file front to back in windows of bounded size, for walks that look at small pieces
   spread over a file of any size */
class WindowReader {
    public:
        explicit WindowReader(const InputFile& file, std::size_t windowSize = std::size_t{1} << 20);

        /* The size bytes at offset, or empty when they are not all in the file or reading
           failed (then error is set) */
        std::span<const char> at(std::uint64_t offset, std::size_t size, std::string& error);

    private:
        const InputFile& _file;
        std::unique_ptr<char[]> _window;
        std::size_t _windowSize;
        std::uint64_t _start = 0;
        std::size_t _filled = 0;
};

}}

#endif
