#include "HXEnvironment.h"
#include "HXDocument.h"
#include "HXDynamicValueContext.h"
#include "HXDynamicValueEngine.h"
#include "HXEnvironmentVariable.h"
#include "HXEnvironmentVariableDynamicValue.h"
#include "HXEnvironmentVariableValue.h"
#include "HXManagedObjectContext.h"
#include "HXScriptedPresenter.h"
#include "HXUndoManager.h"

#include <gtest/gtest.h>

namespace {

class EnvironmentTest : public ::testing::Test
{
protected:
    void SetUp() override { HXPresenter::setSharedPresenter(&presenter); }
    void TearDown() override { HXPresenter::setSharedPresenter(nullptr); }

    HXManagedObjectContext *context() { return document.managedObjectContext(); }
    QString evaluate(HXEnvironmentVariable *variable)
    {
        auto token = HXDynamicValue::make<HXEnvironmentVariableDynamicValue>();
        token->setEnvironmentVariable(variable);
        return HXDynamicValueEngine::evaluateAttributedStringAsString(HXDynamicString::withDynamicValue(token));
    }

    HXScriptedPresenter presenter;
    HXDocument document;
};

TEST_F(EnvironmentTest, EveryEnvironmentVariablePairHasOneRecord)
{
    EXPECT_NE(HXEnvironment::createDefaultEnvironmentIfNeeded(context()), nullptr);
    EXPECT_EQ(HXEnvironment::createDefaultEnvironmentIfNeeded(context()), nullptr);
    HXEnvironment::addEnvironment(QStringLiteral("Production"), context());
    HXEnvironment *unnamed = HXEnvironment::addEnvironment(QString(), context());
    EXPECT_EQ(unnamed->name(), QStringLiteral("New environment"));

    HXEnvironmentVariable *host =
        HXEnvironment::addEnvironmentVariable(QStringLiteral("host"), QStringLiteral("x"), context());
    EXPECT_EQ(context()->undoManager()->undoActionName(), QStringLiteral("Add Environment Variable"));
    ASSERT_EQ(host->values().size(), 3);
    for (HXEnvironmentVariableValue *record : host->values())
        EXPECT_EQ(record->value(), QStringLiteral("x"));

    HXEnvironment *staging = HXEnvironment::addEnvironment(QStringLiteral("Staging"), context());
    EXPECT_EQ(context()->undoManager()->undoActionName(), QStringLiteral("Add Environment"));
    ASSERT_EQ(staging->variablesValues().size(), 1);
    EXPECT_EQ(staging->valueForVariable(host)->value(), QString());

    // Undoing the step removes the environment and its records together.
    context()->undoManager()->undo();
    EXPECT_FALSE(staging->isLive());
    EXPECT_EQ(host->values().size(), 3);
    EXPECT_EQ(HXEnvironmentVariable::environmentVariableWithUUID(host->uuid(), context()), host);
    EXPECT_EQ(HXEnvironmentVariable::environmentVariableWithUUID(QStringLiteral("nope"), context()), nullptr);
}

TEST_F(EnvironmentTest, TokensEvaluateInTheCurrentEnvironment)
{
    HXEnvironment *development = HXEnvironment::addEnvironment(QStringLiteral("Development"), context());
    HXEnvironment *production = HXEnvironment::addEnvironment(QStringLiteral("Production"), context());
    HXEnvironmentVariable *host = HXEnvironment::addEnvironmentVariable(QStringLiteral("host"), QString(), context());
    development->valueForVariable(host)->setValue(QStringLiteral("127.0.0.1:8080"));
    production->valueForVariable(host)->setValue(QStringLiteral("api.example.test"));

    EXPECT_EQ(evaluate(host), QString()); // no current environment yet
    document.selectEnvironment(development);
    EXPECT_EQ(evaluate(host), QStringLiteral("127.0.0.1:8080"));
    document.selectEnvironment(production);
    EXPECT_EQ(evaluate(host), QStringLiteral("api.example.test"));

    // A value may hold a token of another variable, but not of itself.
    HXEnvironmentVariable *url = HXEnvironment::addEnvironmentVariable(QStringLiteral("url"), QString(), context());
    auto hostToken = HXDynamicValue::make<HXEnvironmentVariableDynamicValue>();
    hostToken->setEnvironmentVariable(host);
    HXDynamicString composed(QStringLiteral("https://"));
    composed.appendDynamicValue(hostToken);
    composed.append(QStringLiteral("/v1"));
    production->valueForVariable(url)->setValue(HXDynamicValueEngine::archiveAttributedString(composed));
    auto selfToken = HXDynamicValue::make<HXEnvironmentVariableDynamicValue>();
    selfToken->setEnvironmentVariable(host);
    HXDynamicString loop(QStringLiteral("again:"));
    loop.appendDynamicValue(selfToken);
    development->valueForVariable(host)->setValue(HXDynamicValueEngine::archiveAttributedString(loop));
    EXPECT_EQ(evaluate(url), QStringLiteral("https://api.example.test/v1"));
    document.selectEnvironment(development);
    EXPECT_EQ(evaluate(host), QStringLiteral("again:"));

    // A token whose variable is gone shows the kind's title and gives nothing.
    auto orphan = HXDynamicValue::make<HXEnvironmentVariableDynamicValue>();
    orphan->setEnvironmentVariable(url);
    context()->deleteObject(url);
    EXPECT_EQ(orphan->displayString(), QStringLiteral("Environment Variable"));
    EXPECT_EQ(orphan->secondaryText(), QStringLiteral("(Not specified)"));
    EXPECT_EQ(evaluate(url), QString());
    EXPECT_EQ(hostToken->displayString(), QStringLiteral("host"));
}

TEST_F(EnvironmentTest, PreviousAndNextStopAtTheEnds)
{
    HXEnvironment *b = HXEnvironment::addEnvironment(QStringLiteral("B"), context());
    HXEnvironment *a = HXEnvironment::addEnvironment(QStringLiteral("A"), context());
    HXEnvironment *c = HXEnvironment::addEnvironment(QStringLiteral("C"), context());
    document.selectEnvironment(a);
    document.selectPreviousEnvironment();
    EXPECT_EQ(document.currentEnvironment(), a);
    document.selectNextEnvironment();
    EXPECT_EQ(document.currentEnvironment(), b);
    document.selectNextEnvironment();
    document.selectNextEnvironment();
    EXPECT_EQ(document.currentEnvironment(), c);
}

TEST_F(EnvironmentTest, DeletingAsksKeepsTheLastAndUndoes)
{
    HXEnvironment *only = HXEnvironment::addEnvironment(QStringLiteral("Only"), context());
    HXEnvironmentVariable *variable =
        HXEnvironment::addEnvironmentVariable(QStringLiteral("v"), QStringLiteral("1"), context());
    document.selectEnvironment(only);
    document.deleteEnvironment();
    ASSERT_EQ(presenter.errors.size(), 1);
    EXPECT_EQ(presenter.errors.first().domain, QStringLiteral("kestrelworks.com.Environment"));
    EXPECT_EQ(presenter.errors.first().code, 1);
    EXPECT_EQ(presenter.errors.first().description, QStringLiteral("You should keep at least one environment."));
    EXPECT_TRUE(only->isLive());
    EXPECT_TRUE(presenter.alerts.isEmpty());

    HXEnvironment *zulu = HXEnvironment::addEnvironment(QStringLiteral("Zulu"), context());
    HXEnvironment *alpha = HXEnvironment::addEnvironment(QStringLiteral("Alpha"), context());
    presenter.answer = 1; // Cancel
    document.deleteEnvironment();
    ASSERT_EQ(presenter.alerts.size(), 1);
    EXPECT_EQ(presenter.alerts.first().message, QStringLiteral("Delete environment?"));
    EXPECT_EQ(presenter.alerts.first().informativeText,
              QStringLiteral("Environment 'Only' will be deleted and variables will be kept for other environments."));
    EXPECT_EQ(presenter.alerts.first().buttons, QStringList({QStringLiteral("Delete"), QStringLiteral("Cancel")}));
    EXPECT_TRUE(only->isLive());

    presenter.answer = 0;
    document.deleteEnvironment();
    EXPECT_FALSE(only->isLive());
    EXPECT_EQ(document.currentEnvironment(), alpha); // the first other one by name
    EXPECT_TRUE(variable->isLive());
    EXPECT_EQ(variable->values().size(), 2);
    EXPECT_EQ(context()->undoManager()->undoActionName(), QStringLiteral("Delete Environment"));
    context()->undoManager()->undo();
    EXPECT_TRUE(only->isLive());
    EXPECT_EQ(variable->values().size(), 3);
    EXPECT_EQ(only->valueForVariable(variable)->value(), QStringLiteral("1"));
    Q_UNUSED(zulu);
}

} // namespace
