#pragma once
// The preview's stand-in player: it records what the Review page asked of it, and can refuse a
// file or break down with a reason as the real one does.

#include "ui/AudioPlayer.h"

#include <QPointer>
#include <QStringList>

#include <functional>
#include <memory>

namespace ondrel::test {

// What the preview asked of its players, in order.
struct PlayerCalls {
    QStringList calls;
    QString refusal; // open()'s answer: "" plays
    QList<QPointer<AudioPlayer>> made;
};

class FakePlayer : public AudioPlayer {
public:
    explicit FakePlayer(std::shared_ptr<PlayerCalls> log)
        : m_log(std::move(log)) {}
    QString open(const QString& path) override {
        m_log->calls << "open " + path;
        return m_log->refusal;
    }
    void seek(double seconds) override { m_log->calls << "seek " + QString::number(seconds); }
    void play() override { m_log->calls << "play"; }
    void stop() override { m_log->calls << "stop"; }
    void breakDown(const QString& reason) { emit failed(reason); }

private:
    std::shared_ptr<PlayerCalls> m_log;
};

inline std::function<std::unique_ptr<AudioPlayer>()> fakePlayers(const std::shared_ptr<PlayerCalls>& log) {
    return [log] {
        auto player = std::make_unique<FakePlayer>(log);
        log->made << player.get();
        return player;
    };
}

} // namespace ondrel::test
