#include "HXDynamicTestKinds.h"

#include "HXDynamicString.h"
#include "HXDynamicValueEngine.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

using namespace HXDynamicTest;

namespace {

class HXDynamicStringTest : public ::testing::Test
{
protected:
    void SetUp() override { registerTestKinds(); }
};

QString archive(const HXDynamicString &string)
{
    return HXDynamicValueEngine::archiveAttributedString(string);
}

HXDynamicString unarchive(const QString &text)
{
    return HXDynamicValueEngine::unarchiveAttributedString(text);
}

// Compares text and tokens (by value equality, not by archive bytes).
void expectSameDynamicString(const HXDynamicString &actual, const HXDynamicString &expected)
{
    ASSERT_EQ(actual.string(), expected.string());
    ASSERT_EQ(actual.attachments().size(), expected.attachments().size());
    for (auto it = expected.attachments().constBegin(); it != expected.attachments().constEnd(); ++it) {
        const HXTextAttachment *other = actual.attachmentAt(it.key());
        ASSERT_TRUE(other) << it.key();
        const HXDynamicValuePtr a = other->dynamicValue();
        const HXDynamicValuePtr b = it.value().dynamicValue();
        ASSERT_TRUE(a && b);
        EXPECT_TRUE(a->isEqual(*b));
    }
}

} // namespace

TEST_F(HXDynamicStringTest, PlainTextStaysPlainUnlessItHoldsJSONCharacters)
{
    EXPECT_EQ(archive(HXDynamicString()), QString());
    EXPECT_TRUE(unarchive(QString()).isEmpty());
    EXPECT_EQ(archive(HXDynamicString(QStringLiteral("abc"))), QStringLiteral("abc"));

    for (const QString &text :
         {QStringLiteral("a[b"), QStringLiteral("]"), QStringLiteral("{x}"), QStringLiteral("say \"hi\""),
          QStringLiteral("[1,2]"), QStringLiteral("{\"a\":1}"), QStringLiteral("[\"quoted\"]")}) {
        const QString stored = archive(HXDynamicString(text));
        const QJsonDocument json = QJsonDocument::fromJson(stored.toUtf8());
        ASSERT_TRUE(json.isArray()) << stored.toStdString();
        EXPECT_EQ(json.array(), QJsonArray{text});
        EXPECT_EQ(unarchive(stored).string(), text);
    }
    // Text that JSON would read as a fragment, or that is broken JSON, is
    // plain text and comes back as it is.
    for (const QString &text : {QStringLiteral("123"), QStringLiteral("true"), QStringLiteral("null"),
                                QStringLiteral("a\\b\n\tc \u00e9\u4e2d\U0001F600"), QStringLiteral("x: 1, y")}) {
        EXPECT_EQ(archive(HXDynamicString(text)), text);
        EXPECT_EQ(unarchive(text).string(), text);
    }
    EXPECT_EQ(unarchive(QStringLiteral("[1,")).string(), QStringLiteral("[1,"));
}

TEST_F(HXDynamicStringTest, TextWithTokensRoundTrips)
{
    auto token = echo(QStringLiteral("in"));
    const HXDynamicString string = dynamicString({QStringLiteral("x"), token});
    const QString stored = archive(string);
    const QJsonArray array = QJsonDocument::fromJson(stored.toUtf8()).array();
    ASSERT_EQ(array.size(), 2);
    EXPECT_EQ(array[0].toString(), QStringLiteral("x"));
    const QJsonObject record = array[1].toObject();
    EXPECT_EQ(record.keys(), (QStringList{QStringLiteral("data"), QStringLiteral("name")}));
    EXPECT_EQ(record[u"name"].toString(), QStringLiteral("kestrelworks.Kea.DynamicValue"));
    EXPECT_EQ(record[u"data"].toString(), HXDynamicValueEngine::hexString(token->keyedArchive()));
    EXPECT_FALSE(stored.contains(u' '));

    expectSameDynamicString(unarchive(stored), string);

    // Several tokens, adjacent and between brackets and quotes.
    const HXDynamicString mixed =
        dynamicString({QStringLiteral("[\""), token, echo(QStringLiteral("b")), QStringLiteral("\"]{}"), token});
    expectSameDynamicString(unarchive(archive(mixed)), mixed);
    EXPECT_EQ(archive(unarchive(archive(mixed))), archive(mixed));
}

TEST_F(HXDynamicStringTest, TokensNestThreeLevelsDeep)
{
    auto inner = echo(QStringLiteral("core \"[quoted]\""));
    auto middle = echo(archive(dynamicString({QStringLiteral("m{"), inner, QStringLiteral("}")})));
    auto outer = echo(archive(dynamicString({middle, QStringLiteral(" tail")})));
    const HXDynamicString string = dynamicString({QStringLiteral("start "), outer});

    const HXDynamicString back = unarchive(archive(string));
    expectSameDynamicString(back, string);
    const HXDynamicValuePtr outerBack = back.attachmentAt(6)->dynamicValue();
    const HXDynamicValuePtr middleBack =
        unarchive(outerBack->stringValue(QStringLiteral("input"))).attachmentAt(0)->dynamicValue();
    ASSERT_TRUE(middleBack);
    const HXDynamicValuePtr innerBack =
        unarchive(middleBack->stringValue(QStringLiteral("input"))).attachmentAt(2)->dynamicValue();
    ASSERT_TRUE(innerBack);
    EXPECT_TRUE(innerBack->isEqual(*inner));
    EXPECT_EQ(innerBack->stringValue(QStringLiteral("input")), QStringLiteral("core \"[quoted]\""));

    EXPECT_EQ(HXDynamicValueEngine::evaluateAttributedStringAsString(back, HXStringEncoding::UTF8),
              QStringLiteral("start <<m{<core \"[quoted]\">}> tail>"));
    EXPECT_EQ(HXDynamicValueEngine::displayStringFromAttributedString(back),
              QStringLiteral("start Echo(Echo(m{Echo(core \"[quoted]\")}) tail)"));
}

TEST_F(HXDynamicStringTest, ReadingSkipsWhatIsNotTextOrAToken)
{
    const QString name = QStringLiteral("kestrelworks.Kea.DynamicValue");
    const QString data = HXDynamicValueEngine::hexString(echo(QStringLiteral("v"))->keyedArchive());
    // Numbers, nested arrays, records with a wrong name, odd hex, missing keys.
    const QJsonArray stored{
        1,
        QStringLiteral("a"),
        QJsonArray{QStringLiteral("nested")},
        QJsonObject{{QStringLiteral("data"), data}, {QStringLiteral("name"), QStringLiteral("other")}},
        QJsonObject{{QStringLiteral("data"), QString(data + u'0')}, {QStringLiteral("name"), name}},
        QJsonObject{{QStringLiteral("name"), name}},
        QJsonObject{{QStringLiteral("data"), data}, {QStringLiteral("name"), name}},
        true,
        QStringLiteral("b"),
    };
    const HXDynamicString string = unarchive(QString::fromUtf8(QJsonDocument(stored).toJson(QJsonDocument::Compact)));
    EXPECT_EQ(string.string(), QStringLiteral("a\uFFFCb"));
    ASSERT_TRUE(string.attachmentAt(1));
    EXPECT_TRUE(string.attachmentAt(1)->dynamicValue());

    EXPECT_TRUE(unarchive(QStringLiteral("[1,2,3]")).isEmpty());
    // An object is walked as the collection of its keys.
    EXPECT_EQ(unarchive(QStringLiteral("{\"k\":1}")).string(), QStringLiteral("k"));
}

TEST_F(HXDynamicStringTest, HexReadingIsLenient)
{
    EXPECT_EQ(HXDynamicValueEngine::dataFromHexString(u"00fFa0"), QByteArray("\x00\xff\xa0", 3));
    EXPECT_EQ(HXDynamicValueEngine::dataFromHexString(u"zz1g"), QByteArray("\xff\x1f", 2));
    EXPECT_FALSE(HXDynamicValueEngine::dataFromHexString(u"abc"));
    EXPECT_EQ(HXDynamicValueEngine::dataFromHexString(u""), QByteArray());
    EXPECT_EQ(HXDynamicValueEngine::hexString(QByteArray("\x0a\xbc", 2)), QStringLiteral("0ABC"));

    // A token whose archive bytes do not decode stays an attachment without a value.
    const HXDynamicString string =
        unarchive(QStringLiteral("[\"a\",{\"data\":\"ZZZZ\",\"name\":\"kestrelworks.Kea.DynamicValue\"}]"));
    EXPECT_EQ(string.length(), 2);
    ASSERT_TRUE(string.attachmentAt(1));
    EXPECT_FALSE(string.attachmentAt(1)->dynamicValue());
    EXPECT_EQ(HXDynamicValueEngine::evaluateAttributedStringAsString(string, HXStringEncoding::UTF8),
              QStringLiteral("a"));
}

TEST_F(HXDynamicStringTest, ComponentsComeInOrderAndCanStop)
{
    HXDynamicString string = dynamicString({QStringLiteral("ab"), echo(QStringLiteral("1")), QStringLiteral("c")});
    string.appendAttachment(HXTextAttachment(QStringLiteral("picture.png"), QByteArray("png")));
    string.append(QStringLiteral("\uFFFC"));

    QStringList seen;
    string.enumerateComponentsWithBlock([&](const HXDynamicStringComponent &component, bool &) {
        if (component.isText())
            seen << QStringLiteral("text:%1@%2+%3").arg(component.text).arg(component.location).arg(component.length);
        else if (!component.attachment)
            seen << QStringLiteral("none@%1").arg(component.location);
        else
            seen << QStringLiteral("%1@%2")
                        .arg(component.attachment->isDynamicValue() ? QStringLiteral("value") : QStringLiteral("file"))
                        .arg(component.location);
    });
    EXPECT_EQ(seen, (QStringList{QStringLiteral("text:ab@0+2"), QStringLiteral("value@2"), QStringLiteral("text:c@3+1"),
                                 QStringLiteral("file@4"), QStringLiteral("none@5")}));

    int calls = 0;
    string.enumerateComponentsWithBlock([&](const HXDynamicStringComponent &, bool &stop) {
        ++calls;
        stop = calls == 2;
    });
    EXPECT_EQ(calls, 2);

    // Attachments that are not values are not archived.
    EXPECT_EQ(unarchive(archive(string)).string(), QStringLiteral("ab\uFFFCc"));
}

TEST_F(HXDynamicStringTest, OnlyDynamicValueAndPredicates)
{
    auto token = echo(QStringLiteral("t"));
    EXPECT_FALSE(dynamicString({QStringLiteral("x"), token}).onlyDynamicValue());
    EXPECT_FALSE(dynamicString({token, token}).onlyDynamicValue());
    EXPECT_FALSE(HXDynamicString().onlyDynamicValue());
    const HXDynamicValuePtr only = dynamicString({token}).onlyDynamicValue();
    ASSERT_TRUE(only);
    EXPECT_TRUE(only->isEqual(*token));

    const HXDynamicString string = dynamicString({QStringLiteral("x"), token, HXDynamicValue::make<BytesValue>()});
    int textOffers = 0;
    EXPECT_FALSE(string.containsDynamicValue([&](const HXDynamicValuePtr &value) {
        textOffers += value ? 0 : 1;
        return false;
    }));
    EXPECT_EQ(textOffers, 1);
    EXPECT_TRUE(string.containsDynamicValue(
        [](const HXDynamicValuePtr &value) { return value && value->className() == BytesValue::staticClassName(); }));
    const HXDynamicValuePtr first = string.firstDynamicValueMatching([](const HXDynamicValuePtr &) { return true; });
    ASSERT_TRUE(first);
    EXPECT_EQ(first->className(), EchoValue::staticClassName());
}

TEST_F(HXDynamicStringTest, SplittingKeepsTokens)
{
    EXPECT_TRUE(HXDynamicString().componentsSeparatedByString(QStringLiteral("&")).isEmpty());
    auto token = echo(QStringLiteral("t"));
    const HXDynamicString string = dynamicString({QStringLiteral("a="), token, QStringLiteral("&&b&")});
    const QList<HXDynamicString> pieces = string.componentsSeparatedByString(QStringLiteral("&"));
    ASSERT_EQ(pieces.size(), 4);
    EXPECT_EQ(pieces[0].string(), QStringLiteral("a=\uFFFC"));
    ASSERT_TRUE(pieces[0].attachmentAt(2));
    EXPECT_TRUE(pieces[0].attachmentAt(2)->dynamicValue()->isEqual(*token));
    EXPECT_EQ(pieces[1].string(), QString());
    EXPECT_EQ(pieces[2].string(), QStringLiteral("b"));
    EXPECT_EQ(pieces[3].string(), QString());
    EXPECT_EQ(HXDynamicString(QStringLiteral("ab")).componentsSeparatedByString(QStringLiteral("&&")).size(), 1);
}

TEST_F(HXDynamicStringTest, PercentWalksLeaveTokensAlone)
{
    auto token = echo(QStringLiteral("%20"));
    const HXDynamicString string = dynamicString({QStringLiteral("a b&"), token, QStringLiteral("\u00e9")});
    const HXDynamicString encoded =
        string.attributedStringByAddingPercentEscapeUsingEncoding(HXStringEncoding::UTF8, false);
    EXPECT_EQ(encoded.string(), QStringLiteral("a%20b%26\uFFFC%C3%A9"));
    ASSERT_TRUE(encoded.attachmentAt(8));
    EXPECT_TRUE(encoded.attachmentAt(8)->dynamicValue()->isEqual(*token));
    EXPECT_EQ(string.attributedStringByAddingPercentEscapeUsingEncoding(HXStringEncoding::UTF8, true).string(),
              QStringLiteral("a+b%26\uFFFC%C3%A9"));

    const HXDynamicString decoded =
        encoded.attributedStringByReplacingPercentEscapesUsingEncoding(HXStringEncoding::UTF8, false);
    expectSameDynamicString(decoded, string);
}

TEST_F(HXDynamicStringTest, AddingAQueryParameterReplacesOnlyTheFirst)
{
    const HXDynamicString signature = dynamicString({echo(QStringLiteral("sig"))});
    const HXDynamicString url(QStringLiteral("http://h/p?a=1&sig=old&sig=older"));
    const HXDynamicString replaced = url.attributedStringByAddingQueryParameter(QStringLiteral("sig"), signature);
    EXPECT_EQ(replaced.string(), QStringLiteral("http://h/p?a=1&sig=\uFFFC&sig=older"));
    EXPECT_TRUE(replaced.attachmentAt(19));

    EXPECT_EQ(
        HXDynamicString(QStringLiteral("http://h"))
            .attributedStringByAddingQueryParameter(QStringLiteral("Expires"), HXDynamicString(QStringLiteral("60")))
            .string(),
        QStringLiteral("http://h/?Expires=60"));
    EXPECT_EQ(HXDynamicString(QStringLiteral("http://h/x?b=2"))
                  .attributedStringByAddingQueryParameter(QStringLiteral("a b"), HXDynamicString(QStringLiteral("1")))
                  .string(),
              QStringLiteral("http://h/x?b=2&a%20b=1"));
}
