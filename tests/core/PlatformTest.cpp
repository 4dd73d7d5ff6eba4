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
