#include <support/scratch_folder.h>

#include <stdexcept>

#include <QtCore/QDir>

namespace biz::test {

ScratchFolder::ScratchFolder()
    : m_before(QDir::currentPath())
{
    if (!m_folder.isValid() || !QDir::setCurrent(m_folder.path())) {
        throw std::runtime_error("no scratch folder: " + m_folder.errorString().toStdString());
    }
}

ScratchFolder::~ScratchFolder()
{
    QDir::setCurrent(m_before);
}

QString ScratchFolder::path(const QString &name) const
{
    return name.isEmpty() ? m_folder.path() : m_folder.filePath(name);
}

} // namespace biz::test
