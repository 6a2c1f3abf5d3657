// libFuzzer target for the readable text form of dynamic strings. Any text
// either fails to parse with a column-numbered message, or parses; printing
// what was parsed and parsing that again must give the same stored form, and
// printing is then a fixed point.

#include "HXDynamicStringTextFormat.h"
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
    static char name[] = "fuzz_dynamic_string_text";
    static char *argv[] = {name, nullptr};
    static QCoreApplication *application = new QCoreApplication(argc, argv);
    Q_UNUSED(application);

    const QString text = QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size));
    const auto parsed = HXDynamicStringTextFormat::parse(text);
    if (!parsed) {
        check(parsed.error().description.startsWith(QStringLiteral("column ")));
        return 0;
    }
    const QString stored = HXDynamicValueEngine::archiveAttributedString(*parsed);
    const QString printed = HXDynamicStringTextFormat::stringFromDynamicString(*parsed);
    const auto again = HXDynamicStringTextFormat::parse(printed);
    check(again.ok());
    check(HXDynamicValueEngine::archiveAttributedString(*again) == stored);
    check(HXDynamicStringTextFormat::stringFromDynamicString(*again) == printed);
    return 0;
}
