#include "core/Clock.h"
#include "core/Platform.h"
#include "support/TestEnv.h"

#include <gtest/gtest.h>

using namespace ondrel;

TEST(Endpoints, BaseUrlsReadLikeTheVendorsSdks) {
    struct Case {
        const char* openai;
        const char* anthropic;
        QString transcriptions;
        QString messages;
    } cases[] = {
        {nullptr, nullptr, "https://api.openai.com/v1/audio/transcriptions",
         "https://api.anthropic.com/v1/messages"},
        {"http://127.0.0.1:9/v1", "http://127.0.0.1:8", "http://127.0.0.1:9/v1/audio/transcriptions",
         "http://127.0.0.1:8/v1/messages"},
        {"http://proxy/v1/", "http://proxy/claude/", "http://proxy/v1/audio/transcriptions",
         "http://proxy/claude/v1/messages"},
        {"", "", "https://api.openai.com/v1/audio/transcriptions", "https://api.anthropic.com/v1/messages"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.transcriptions.toStdString());
        QProcessEnvironment env;
        if (c.openai)
            env.insert("OPENAI_BASE_URL", c.openai);
        if (c.anthropic)
            env.insert("ANTHROPIC_BASE_URL", c.anthropic);
        const Endpoints e = Endpoints::fromEnvironment(env);
        EXPECT_EQ(e.transcriptionsUrl(), c.transcriptions);
        EXPECT_EQ(e.messagesUrl(), c.messages);
    }
}

TEST(Clock, ShortTimeOfDayIsHoursAndMinutesInEveryLocale) {
    const std::pair<const char*, QString> cases[] = {
        {"C", "15:45"},     {"en_US", "3:45 PM"}, {"fi_FI", "15.45"},
        {"bg_BG", "15:45 ч."}, {"ko_KR", "오후 3:45"}, {"de_DE", "15:45"},
    };
    for (const auto& [locale, text] : cases)
        EXPECT_EQ(shortTimeOfDay(QTime(15, 45, 12), QLocale(locale)), text) << locale;
}
