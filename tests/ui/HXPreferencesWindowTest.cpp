#include "HXPreferencesWindow.h"
#include "HXDocumentWindow.h"
#include "HXHTTPPreferencesViewController.h"
#include "HXUserDefaults.h"
#include "HXWindowManager.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QTabWidget>
#include <QTableWidget>
#include <QTest>

#include <gtest/gtest.h>

namespace {

using Fields = HXHTTPPreferencesViewController::EnabledFields;

HXUserDefaults &defaults()
{
    return HXUserDefaults::standardUserDefaults();
}

class PreferencesWindowTest : public ::testing::Test
{
protected:
    void TearDown() override
    {
        for (const char *key : {"HXUserDefaultHTTPLibrary", "HXUserDefaultHTTPProxyConfiguration",
                                "HXUserDefaultHTTPProxyPACEnabled", "HXUserDefaultHTTPProxyHTTPProxyEnabled",
                                "HXUserDefaultHTTPAlwaysSendRequestBody", "HXUserDefaultResponseTextFormats"})
            defaults().removeObjectForKey(QString::fromLatin1(key));
    }

    // Picks the entry with this stored value, as a user would.
    static void choose(QComboBox *menu, const QString &value)
    {
        const int index = menu->findData(value);
        ASSERT_GE(index, 0) << value.toStdString();
        menu->setCurrentIndex(index);
        Q_EMIT menu->activated(index);
    }
};

TEST(HTTPPreferencesRules, ProxyControlsFollowTheEngineConfigurationAndSwitches)
{
    const QString urlConnectionTitle = QStringLiteral("NSURLConnection always uses the System Proxy Configuration");
    struct Case
    {
        const char *engine;
        const char *configuration;
        bool pac, http, https;
        Fields expected;
    };
    const Case cases[] = {
        // The Qt Network engine, and an unknown one alike: nothing to set.
        {"URLConnection", "Custom", false, true, true, {.proxySectionTitle = urlConnectionTitle}},
        {"NoSuchEngine", "Custom", false, true, true, {.proxySectionTitle = urlConnectionTitle}},
        {"ASIHTTPRequest", "SystemConfiguration", true, true, true, {.configurationMenu = true}},
        // A PAC file wins over the fixed proxies, whose switches stay stored.
        {"GCDHTTPRequest",
         "Custom",
         true,
         true,
         true,
         {.configurationMenu = true, .custom = true, .pacSwitch = true, .pacURL = true}},
        {"GCDHTTPRequest",
         "Custom",
         false,
         true,
         false,
         {.configurationMenu = true,
          .custom = true,
          .pacSwitch = true,
          .httpSwitch = true,
          .httpFields = true,
          .httpsSwitch = true}},
    };
    for (const Case &c : cases) {
        const Fields fields = HXHTTPPreferencesViewController::enabledFields(
            QString::fromLatin1(c.engine), QString::fromLatin1(c.configuration), c.pac, c.http, c.https);
        EXPECT_EQ(fields, c.expected) << c.engine << " " << c.configuration << " pac " << c.pac;
    }
}

TEST_F(PreferencesWindowTest, TheHTTPPaneStoresEachChoiceAndEnablesTheControlsItAllows)
{
    // Opened from the document window's Edit menu.
    HXDocumentWindow *documentWindow = HXWindowManager::newDocument();
    ASSERT_NE(documentWindow, nullptr);
    QAction *open = nullptr;
    for (QAction *menu : documentWindow->menuBar()->actions())
        for (QAction *item : menu->menu() ? menu->menu()->actions() : QList<QAction *>())
            if (item->menuRole() == QAction::PreferencesRole)
                open = item;
    ASSERT_NE(open, nullptr);
    open->trigger();
    HXPreferencesWindow *window = nullptr;
    for (QWidget *top : QApplication::topLevelWidgets())
        if (auto *found = qobject_cast<HXPreferencesWindow *>(top); found != nullptr && found->isVisible())
            window = found;
    ASSERT_NE(window, nullptr);
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window));
    EXPECT_EQ(HXPreferencesWindow::showPreferences(), window) << "one window for the application";
    QStringList titles;
    for (int i = 0; i < window->panes()->count(); ++i)
        titles.append(window->panes()->tabText(i));
    EXPECT_EQ(titles.join(u','), QStringLiteral("General,HTTP,JSON,Code"));

    HXHTTPPreferencesViewController *pane = window->HTTPPane();
    window->panes()->setCurrentWidget(pane);
    choose(pane->engineMenu(), QStringLiteral("GCDHTTPRequest"));
    choose(pane->configurationMenu(), QStringLiteral("Custom"));
    EXPECT_EQ(defaults().stringForKey(QStringLiteral("HXUserDefaultHTTPProxyConfiguration")), u"Custom");
    pane->httpSwitch()->click();
    EXPECT_TRUE(defaults().boolForKey(QStringLiteral("HXUserDefaultHTTPProxyHTTPProxyEnabled")));
    EXPECT_TRUE(pane->httpHost()->isEnabled());
    pane->pacSwitch()->click();
    EXPECT_FALSE(pane->httpSwitch()->isEnabled());
    EXPECT_FALSE(pane->httpHost()->isEnabled());
    EXPECT_TRUE(defaults().boolForKey(QStringLiteral("HXUserDefaultHTTPProxyHTTPProxyEnabled")));

    choose(pane->engineMenu(), QStringLiteral("URLConnection"));
    EXPECT_FALSE(pane->configurationMenu()->isEnabled());
    EXPECT_TRUE(pane->proxySectionTitle()->isVisibleTo(pane));
    EXPECT_EQ(defaults().stringForKey(QStringLiteral("HXUserDefaultHTTPLibrary")), u"URLConnection");

    const QString bodyOff = pane->alwaysSendRequestBodyExplanation()->text();
    defaults().setBool(true, QStringLiteral("HXUserDefaultHTTPAlwaysSendRequestBody"));
    pane->refreshEnabledFields();
    EXPECT_NE(pane->alwaysSendRequestBodyExplanation()->text(), bodyOff);
    window->close();
    documentWindow->close();
}

TEST_F(PreferencesWindowTest, ResponseTextFormatsAreEditedAsATable)
{
    HXPreferencesWindow window;
    QTableWidget *table = window.textFormatsTable();
    const qsizetype stored = defaults().arrayForKey(QStringLiteral("HXUserDefaultResponseTextFormats")).size();
    ASSERT_EQ(table->rowCount(), stored);

    window.addTextFormat();
    const int row = table->rowCount() - 1;
    table->item(row, 0)->setText(QStringLiteral("application/vnd.api+json"));
    auto *format = qobject_cast<QComboBox *>(table->cellWidget(row, 2));
    ASSERT_NE(format, nullptr);
    format->setCurrentText(QStringLiteral("JSON"));
    Q_EMIT format->activated(format->currentIndex());
    QVariantList entries = defaults().arrayForKey(QStringLiteral("HXUserDefaultResponseTextFormats"));
    ASSERT_EQ(entries.size(), stored + 1);
    const QVariantMap added = entries.last().toMap();
    EXPECT_EQ(added.value(QStringLiteral("content-type")).toString(), u"application/vnd.api+json");
    EXPECT_EQ(added.value(QStringLiteral("format")).toString(), u"JSON");
    EXPECT_FALSE(added.value(QStringLiteral("regex")).toBool());

    table->selectRow(row);
    window.removeSelectedTextFormats();
    EXPECT_EQ(defaults().arrayForKey(QStringLiteral("HXUserDefaultResponseTextFormats")).size(), stored);
}

} // namespace
