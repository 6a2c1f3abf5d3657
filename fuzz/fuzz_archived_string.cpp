// libFuzzer target for the stored form of dynamic strings and the keyed
// archives of dynamic values. Any bytes, read as a stored string, must give a
// dynamic string without crashing; writing it back and reading that again
// must reach a fixed point after one round; evaluating and displaying it must
// terminate. The same bytes read directly as a keyed archive must either give
// nothing or a value whose archive reads back to an equal value.

#include "HXDynamicString.h"
#include "HXDynamicValue.h"
#include "HXDynamicValueContext.h"
#include "HXDynamicValueEngine.h"

#include <QCoreApplication>

#include <cstdint>
#include <cstdlib>

namespace {

void check(bool condition)
{
    if (!condition)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static int argc = 1;
    static char name[] = "fuzz_archived_string";
    static char *argv[] = {name, nullptr};
    static QCoreApplication *application = new QCoreApplication(argc, argv);
    Q_UNUSED(application);

    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const QString stored = QString::fromUtf8(bytes);

    const HXDynamicString string = HXDynamicValueEngine::unarchiveAttributedString(stored);
    const QString once = HXDynamicValueEngine::archiveAttributedString(string);
    const HXDynamicString again = HXDynamicValueEngine::unarchiveAttributedString(once);
    check(HXDynamicValueEngine::archiveAttributedString(again) == once);
    check(again.string() == string.string() || again.length() <= string.length());

    HXDynamicValueContext::context(nullptr, [&] {
        (void)HXDynamicValueEngine::evaluateAttributedStringAsString(string, HXStringEncoding::UTF8);
        (void)HXDynamicValueEngine::evaluateAttributedStringAsData(string, HXStringEncoding::ASCII);
    });
    (void)HXDynamicValueEngine::displayStringFromAttributedString(string);
    check(!HXDynamicValueContext::currentContext());

    if (const HXDynamicValuePtr value = HXDynamicValue::valueWithKeyedArchive(bytes)) {
        const QByteArray archive = value->keyedArchive();
        const HXDynamicValuePtr reread = HXDynamicValue::valueWithKeyedArchive(archive);
        check(reread && reread->isEqual(*value));
        check(reread->keyedArchive() == archive);
        (void)value->description();
        (void)value->displayString();
    }
    return 0;
}
