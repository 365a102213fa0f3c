#ifndef BIZ_TESTS_INPUT_IN_MEMORY_H
#define BIZ_TESTS_INPUT_IN_MEMORY_H

#include <sys/mman.h>
#include <unistd.h>

#include <QtCore/QString>

#include "fuzz_target.h"

namespace biz::fuzz {

/** A file of no folder that holds an input, for what reads files by their names. */
class InputInMemory
{
public:
    InputInMemory(const std::uint8_t *data, std::size_t size)
        : m_file(memfd_create("input", MFD_CLOEXEC))
    {
        require(m_file >= 0 && write(m_file, data, size) == static_cast<ssize_t>(size), "the system has memory");
    }
    ~InputInMemory() { close(m_file); }
    InputInMemory(const InputInMemory &) = delete;
    InputInMemory &operator=(const InputInMemory &) = delete;

    QString path() const { return QStringLiteral("/proc/self/fd/%1").arg(m_file); }

private:
    const int m_file;
};

} // namespace biz::fuzz

#endif
