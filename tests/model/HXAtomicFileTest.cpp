#include "HXAtomicFile.h"
#include "HXTestSupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

mode_t modeOf(const QString &path)
{
    struct stat status
    {};
    ::stat(QFile::encodeName(path).constData(), &status);
    return status.st_mode & 07777;
}

class AtomicFileTest : public ::testing::Test
{
protected:
    QTemporaryDir folder;
    QString path(const QString &name) const { return folder.filePath(name); }
    QStringList hiddenFiles() const
    {
        return QDir(folder.path()).entryList({QStringLiteral(".*")}, QDir::Files | QDir::Hidden);
    }
};

TEST_F(AtomicFileTest, ALinkKeepsPointingAtTheFileItNames)
{
    ASSERT_TRUE(QDir(folder.path()).mkdir(QStringLiteral("real")));
    const QString target = path(QStringLiteral("real/doc.kea"));
    ASSERT_TRUE(HXTest::writeFile(target, "old"));
    // A relative link through a second link, as version-controlled setups have.
    ASSERT_EQ(::symlink("real/doc.kea", QFile::encodeName(path(QStringLiteral("first.kea"))).constData()), 0);
    ASSERT_EQ(::symlink("first.kea", QFile::encodeName(path(QStringLiteral("link.kea"))).constData()), 0);

    ASSERT_TRUE(HXAtomicFile::write(path(QStringLiteral("link.kea")), QByteArray("new")).ok());
    EXPECT_TRUE(QFileInfo(path(QStringLiteral("link.kea"))).isSymLink());
    EXPECT_TRUE(QFileInfo(path(QStringLiteral("first.kea"))).isSymLink());
    EXPECT_EQ(HXTest::readFile(target), QByteArray("new"));
    EXPECT_TRUE(
        QDir(path(QStringLiteral("real"))).entryList({QStringLiteral(".*")}, QDir::Files | QDir::Hidden).isEmpty());
}

TEST_F(AtomicFileTest, PermissionsFollowTheReplacedFileOrTheUmask)
{
    const QString kept = path(QStringLiteral("kept.kea"));
    ASSERT_TRUE(HXTest::writeFile(kept, "old"));
    ::chmod(QFile::encodeName(kept).constData(), 0600);
    ASSERT_TRUE(HXAtomicFile::write(kept, QByteArray("new")).ok());
    EXPECT_EQ(modeOf(kept), 0600u);

    for (const mode_t mask : {mode_t(022), mode_t(077), mode_t(002)}) {
        const QString fresh = path(QStringLiteral("new-%1.kea").arg(mask, 0, 8));
        const mode_t previous = ::umask(mask);
        const bool written = HXAtomicFile::write(fresh, QByteArray("new")).ok();
        ::umask(previous);
        ASSERT_TRUE(written);
        EXPECT_EQ(modeOf(fresh), 0666u & ~mask) << "umask " << std::oct << mask;
    }
}

TEST_F(AtomicFileTest, AttributesAreOnTheFileFromTheMomentItAppears)
{
    const QString file = path(QStringLiteral("doc.kea"));
    const QByteArray name = "user.kea-test.identity";
    auto written =
        HXAtomicFile::write(file, [](const auto &sink) { sink("content"); }, {{name, QByteArray("ABC-123")}});
    ASSERT_TRUE(written.ok());
    char value[64] = {};
    const ssize_t size = ::getxattr(QFile::encodeName(file).constData(), name.constData(), value, sizeof value);
    if (size < 0 && errno == ENOTSUP)
        GTEST_SKIP() << "this file system keeps no extended attributes";
    EXPECT_EQ(QByteArray(value, int(size)), QByteArray("ABC-123"));
    EXPECT_TRUE(written->matchesFile(file));
    EXPECT_TRUE(hiddenFiles().isEmpty());
}

TEST_F(AtomicFileTest, OnlyTheLeftoversOfKilledSavesAreRemoved)
{
    const QString file = path(QStringLiteral("doc.kea"));
    ASSERT_TRUE(HXTest::writeFile(file, "document"));
    for (const char *name : {".doc.kea.a1B2c3", ".doc.kea.Zz9yY8", ".doc.kea.busy01", ".other.kea.a1B2c3",
                             ".doc.kea.toolong1", "doc.kea.a1B2c3"})
        ASSERT_TRUE(HXTest::writeFile(path(QString::fromLatin1(name)), "secret copy"));
    // A save still running holds its temporary file locked.
    const int busy = ::open(QFile::encodeName(path(QStringLiteral(".doc.kea.busy01"))).constData(), O_RDONLY);
    ASSERT_EQ(::flock(busy, LOCK_EX), 0);

    EXPECT_EQ(HXAtomicFile::removeStaleTemporaryFiles(file), 2);
    ::close(busy);
    EXPECT_EQ(hiddenFiles(), (QStringList{QStringLiteral(".doc.kea.busy01"), QStringLiteral(".doc.kea.toolong1"),
                                          QStringLiteral(".other.kea.a1B2c3")}));
    EXPECT_TRUE(QFileInfo::exists(path(QStringLiteral("doc.kea.a1B2c3"))));
}

} // namespace
