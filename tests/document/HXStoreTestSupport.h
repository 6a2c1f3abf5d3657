#pragma once

#include "HXPersistentStoreManager.h"
#include "HXResponseManager.h"
#include "HXUIPreferencesManager.h"

#include <QDir>
#include <QMutex>
#include <QStandardPaths>
#include <QStringList>

#include <gtest/gtest.h>

// Side-store tests start from no store files and an empty trash, and collect
// what the stores log.
class HXStoreTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        removeEverything();
        s_messages.clear();
        s_previousHandler = qInstallMessageHandler(&HXStoreTest::collectMessage);
    }
    void TearDown() override
    {
        qInstallMessageHandler(s_previousHandler);
        removeEverything();
    }

    static void removeEverything()
    {
        HXResponseManager::resetMoveToTrash(false);
        HXUIPreferencesManager::resetMoveToTrash(false);
        QDir(trashFolder()).removeRecursively();
    }
    static QString storePath(const QString &name)
    {
        return QDir(HXPersistentStoreManager::applicationSupportDirectory()).absoluteFilePath(name);
    }
    static QString trashFolder()
    {
        return QDir(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation))
            .absoluteFilePath(QStringLiteral("Trash"));
    }
    static QStringList trashedFiles()
    {
        return QDir(QDir(trashFolder()).absoluteFilePath(QStringLiteral("files"))).entryList(QDir::Files, QDir::Name);
    }
    static bool logged(const QString &text) { return s_messages.contains(text); }

    static inline QStringList s_messages;

private:
    static void collectMessage(QtMsgType, const QMessageLogContext &, const QString &message)
    {
        s_messages.append(message);
    }
    static inline QtMessageHandler s_previousHandler = nullptr;
};
