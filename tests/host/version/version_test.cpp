#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QTemporaryDir>

#include <gtest/gtest.h>

#include <host/version.h>
#include <version/version_in_file_name_p.h>

using namespace biz::host;

namespace {

/** What a program reports that finds the library as a file of this name. */
QString versionWithLibraryFile(const QString &name)
{
    const QString soname = QStringLiteral(BIZ_SONAME);
    const QTemporaryDir folder;
    EXPECT_TRUE(QFile::copy(QStringLiteral(BIZ_LIBRARY_FILE), folder.filePath(name)));
    EXPECT_TRUE(name == soname || QFile::link(name, folder.filePath(soname)));

    QProcess probe;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LD_LIBRARY_PATH"), folder.path());
    probe.setProcessEnvironment(environment);
    probe.start(QStringLiteral(BIZ_VERSION_PROBE), QStringList());
    EXPECT_TRUE(probe.waitForFinished());
    EXPECT_EQ(probe.exitCode(), 0) << probe.readAllStandardError().toStdString();
    return QString::fromLocal8Bit(probe.readAllStandardOutput()).trimmed();
}

} // namespace

TEST(Version, KitAndLibraryCarryTheProjectsVersion)
{
    EXPECT_EQ(kitVersion(), QStringLiteral(BIZ_TEST_PROJECT_VERSION));
    EXPECT_EQ(libraryVersion(), QStringLiteral(BIZ_TEST_PROJECT_VERSION));
    EXPECT_EQ(libraryVersionAtBuild(), QStringLiteral(BIZ_TEST_PROJECT_VERSION));
}

TEST(Version, OfTheLibraryIsThatOfTheFileThatWasLoaded)
{
    EXPECT_EQ(versionWithLibraryFile(QStringLiteral("libBIZ_Manage.so.1.97.3")), QStringLiteral("1.97.3"));
}

TEST(Version, OfALibraryFileThatCarriesNoneIsThatOfTheBuild)
{
    EXPECT_EQ(versionWithLibraryFile(QStringLiteral(BIZ_SONAME)), QStringLiteral(BIZ_TEST_PROJECT_VERSION));
}

TEST(Version, InAFileNameIsTheThreeNumbersAtItsEnd)
{
    EXPECT_EQ(versionInFileName(QStringLiteral("/opt/x-2.0.0/lib/libX.so.10.2.33")), QStringLiteral("10.2.33"));
    EXPECT_EQ(versionInFileName(QStringLiteral("libX.so.1")), QString());
    EXPECT_EQ(versionInFileName(QStringLiteral("libX.so")), QString());
    EXPECT_EQ(versionInFileName(QStringLiteral("libX-1.2.3.so")), QString());
    EXPECT_EQ(versionInFileName(QString()), QString());
}
