#ifndef BIZ_TESTS_HOST_LINK_JOURNAL_H
#define BIZ_TESTS_HOST_LINK_JOURNAL_H

#include <memory>

#include <QtCore/QStringList>

#include <gtest/gtest.h>

#include <host/device_link.h>

namespace biz::test {

/** A link, and a journal of what it told. */
struct LinkJournal
{
    std::unique_ptr<host::DeviceLink> link;
    int opened = 0;
    QStringList closed;
    QByteArray received;

    void make(const QString &url)
    {
        using host::DeviceLink;
        QString error;
        link = host::makeLink(QUrl(url), &error);
        ASSERT_NE(link, nullptr) << error.toStdString();
        QObject::connect(link.get(), &DeviceLink::opened, link.get(), [this] { ++opened; });
        QObject::connect(link.get(), &DeviceLink::closed, link.get(),
                         [this](const QString &reason) { closed.append(reason); });
        QObject::connect(link.get(), &DeviceLink::received, link.get(),
                         [this](const QByteArray &bytes) { received.append(bytes); });
    }
};

/** What makeLink() says about a URL that names no link. */
inline QString complaintAbout(const char *url)
{
    QString error;
    const std::unique_ptr<host::DeviceLink> made = host::makeLink(QUrl(QString::fromLatin1(url)), &error);
    EXPECT_EQ(made, nullptr) << url;
    return error;
}

/** The name of the link that a URL names; empty when it names none. */
inline QString nameFor(const char *url)
{
    QString error;
    const std::unique_ptr<host::DeviceLink> made = host::makeLink(QUrl(QString::fromLatin1(url)), &error);
    EXPECT_EQ(error, QString());
    return made == nullptr ? QString() : made->name();
}

} // namespace biz::test

#endif
