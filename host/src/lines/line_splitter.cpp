#include <lines/line_splitter_p.h>

#include <utility>

namespace biz::host {

void LineSplitter::add(const QByteArray &bytes, const Take &take)
{
    int begin = 0;
    for (int end = static_cast<int>(bytes.indexOf('\n')); end >= 0;
         end = static_cast<int>(bytes.indexOf('\n', begin))) {
        addToLine(bytes.constData() + begin, end - begin, take);
        endLine(take);
        begin = end + 1;
    }
    addToLine(bytes.constData() + begin, static_cast<int>(bytes.size()) - begin, take);
}

void LineSplitter::finish(const Take &take)
{
    if (!m_line.isEmpty() || m_isSkipping) {
        endLine(take);
    }
}

void LineSplitter::addToLine(const char *begin, int size, const Take &take)
{
    if (m_isSkipping) {
        return;
    }
    if (size <= longestLine - m_line.size()) {
        m_line.append(begin, size);
        return;
    }
    m_line.clear();
    m_isSkipping = true;
    take({m_number, {}, true});
}

void LineSplitter::endLine(const Take &take)
{
    const InputLine line{m_number++, std::exchange(m_line, {}), false};
    if (!std::exchange(m_isSkipping, false)) {
        take(line);
    }
}

} // namespace biz::host
