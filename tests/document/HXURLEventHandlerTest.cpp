#include "HXURLEventHandler.h"
#include "HXDocument.h"
#include "HXDocumentController.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// Which document each URL goes to, and when a new one is made for it.
TEST(URLEventHandler, HostChoosesTheDocument)
{
    std::vector<std::unique_ptr<HXDocument>> made;
    auto maker = [&made] {
        made.push_back(std::make_unique<HXDocument>());
        return made.back().get();
    };
    // No document open: "current" makes one like "new" does.
    HXDocument *current = HXURLEventHandler::handleURLString(u"kea://current.document/requests/current/send"_s, maker);
    HXDocument *fresh = HXURLEventHandler::handleURLString(u"KEA://new.document/requests/new?url=x"_s, maker);
    ASSERT_EQ(made.size(), 2u);
    EXPECT_EQ(current, made.at(0).get());
    EXPECT_EQ(fresh, made.at(1).get());
    // The newest document is the frontmost, and "current" takes it.
    EXPECT_EQ(HXURLEventHandler::handleURLString(u"kea://current.document/requests/new"_s, maker), made.at(1).get());
    HXDocumentController::sharedDocumentController()->bringToFront(made.at(0).get());
    EXPECT_EQ(HXURLEventHandler::handleURLString(u"kea://current.document/"_s, maker), made.at(0).get());
    EXPECT_EQ(made.size(), 2u);

    for (const QString &ignored : {u"kea://other.document/requests/new"_s, u"kea:requests/new"_s,
                                   u"http://new.document/requests/new"_s, u"kea://new.document:99999/"_s}) {
        EXPECT_EQ(HXURLEventHandler::handleURLString(ignored, maker), nullptr) << qPrintable(ignored);
    }
    EXPECT_EQ(made.size(), 2u);
    // Nothing happens when no document can be made.
    made.clear();
    EXPECT_EQ(HXURLEventHandler::handleURLString(u"kea://new.document/"_s, [] { return nullptr; }), nullptr);
}

} // namespace
