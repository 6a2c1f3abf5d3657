#include "HXDynamicStringEdit.h"
#include "HXDynamicString.h"
#include "HXDynamicValue.h"
#include "HXDynamicValueEngine.h"
#include "HXTokenEditor.h"
#include "HXTokenPicker.h"

#include <QApplication>
#include <QClipboard>
#include <QLabel>
#include <QLineEdit>
#include <QMimeData>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

namespace {

constexpr const char *base64Kind = "HXBase64EncodingDynamicValue";

class DynamicStringEditTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        field.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&field));
        field.activateWindow();
        field.setFocus();
    }

    HXTokenPicker *openPicker()
    {
        QTest::keyClick(&field, Qt::Key_Space, Qt::ControlModifier);
        return field.findChild<HXTokenPicker *>();
    }

    HXDynamicStringEdit field{true};
};

TEST_F(DynamicStringEditTest, CtrlSpaceSearchesTheCatalogueAndInserts)
{
    struct Case
    {
        const char *typed;
        bool expectBase64;
        qsizetype maximum; // most kinds shown
    };
    const QList<Case> cases = {
        {"", true, 100},
        {"BASE", true, 1},     // by title, ignoring case
        {"encoding", true, 2}, // by group
        {"zzz", false, 0},
    };
    for (const Case &test : cases) {
        SCOPED_TRACE(test.typed);
        HXTokenPicker *picker = openPicker();
        ASSERT_NE(picker, nullptr);
        QTest::keyClicks(picker->searchField(), QString::fromLatin1(test.typed));
        const QStringList shown = picker->shownKinds();
        EXPECT_EQ(shown.contains(QString::fromLatin1(base64Kind)), test.expectBase64);
        EXPECT_LE(shown.size(), test.maximum);
        picker->close();
        QApplication::processEvents();
    }

    QTest::keyClicks(&field, QStringLiteral("a="));
    HXTokenPicker *picker = openPicker();
    QTest::keyClicks(picker->searchField(), QStringLiteral("base64"));
    QTest::keyClick(picker->searchField(), Qt::Key_Return);
    const HXDynamicString string = field.dynamicString();
    ASSERT_EQ(string.attachments().size(), 1);
    EXPECT_EQ(string.length(), 3) << "the token is one character after the text";
    EXPECT_TRUE(string.containsDynamicValue([](const HXDynamicValuePtr &value) {
        return value != nullptr && value->className() == QString::fromLatin1(base64Kind);
    }));
}

TEST_F(DynamicStringEditTest, APillOpensItsFormAndEditsLiveAsOneCommit)
{
    field.insertDynamicValueOfKind(QString::fromLatin1(base64Kind));
    QSignalSpy finished(&field, &HXDynamicStringEdit::editingFinished);
    EXPECT_EQ(field.editTokenAt(1), nullptr) << "no token after the pill";

    HXTokenEditor *editor = field.editTokenAt(0);
    ASSERT_NE(editor, nullptr);
    auto *input = qobject_cast<HXDynamicStringEdit *>(editor->fieldForKey(QStringLiteral("input")));
    ASSERT_NE(input, nullptr) << "a text field for the dynamic-string property";
    input->setFocus();
    QTest::keyClicks(input, QStringLiteral("kea"));
    EXPECT_EQ(editor->resultLabel()->text(), QStringLiteral("a2Vh")) << "the result is shown live";
    EXPECT_EQ(HXDynamicValueEngine::evaluateAttributedStringAsString(field.dynamicString()), QStringLiteral("a2Vh"))
        << "the pill in the field follows the form";
    EXPECT_EQ(finished.size(), 0);
    editor->close();
    QApplication::processEvents();
    EXPECT_EQ(finished.size(), 1) << "closing the editor commits once";
}

TEST_F(DynamicStringEditTest, TokensCopyAndPasteInTheirOwnForm)
{
    QTest::keyClicks(&field, QStringLiteral("x"));
    field.insertDynamicValueOfKind(QString::fromLatin1(base64Kind));
    const QString stored = field.storedString();
    field.selectAll();
    field.copy();
    const QMimeData *copied = QApplication::clipboard()->mimeData();
    ASSERT_TRUE(copied->hasFormat(HXDynamicValue::pasteboardType()));
    EXPECT_EQ(copied->text(), HXDynamicValueEngine::displayStringFromAttributedString(field.dynamicString()))
        << "other programs get the display text";

    HXDynamicStringEdit other(true);
    other.paste();
    EXPECT_EQ(other.storedString(), stored);

    HXDynamicStringEdit single(true);
    auto *text = new QMimeData;
    text->setText(QStringLiteral("one\ntwo"));
    QApplication::clipboard()->setMimeData(text);
    single.paste();
    EXPECT_EQ(single.storedString(), QStringLiteral("one two")) << "a single-line field joins pasted lines";
}

} // namespace
