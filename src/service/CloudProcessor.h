#pragma once
// The server-side alternative to the local pipeline: upload the audio, start the job, poll for
// its results.

#include "APIClient.h"

#include "core/Records.h"

#include <QObject>
#include <QString>
#include <QUrl>

#include <QCoroTask>

#include <chrono>
#include <optional>
#include <variant>

namespace ondrel {

enum class ProcessingStep {
    idle,
    extracting,
    uploading,
    transcribing,
    analyzing,
    translating,
    complete,
    error
};

namespace ProcessingSteps {
QString rawValue(ProcessingStep step);
double progress(ProcessingStep step);
} // namespace ProcessingSteps

class CloudProcessorError {
public:
    enum class Kind { uploadFailed, processingFailed, pollingTimeout, invalidResults };

    explicit CloudProcessorError(Kind kind, QString message = {})
        : m_kind(kind)
        , m_message(std::move(message)) {}

    Kind kind() const { return m_kind; }
    QString message() const { return m_message; }
    QString description() const;

private:
    Kind m_kind;
    QString m_message;
};

template <class T> using CloudResult = std::variant<T, CloudProcessorError>;

class CloudProcessor : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString currentStep READ currentStepText NOTIFY currentStepChanged)
    Q_PROPERTY(double progress READ progress NOTIFY progressChanged)
    Q_PROPERTY(QString errorMessage READ errorMessageText NOTIFY errorMessageChanged)
    Q_PROPERTY(bool hasResults READ hasResults NOTIFY resultsChanged)
    Q_PROPERTY(int maxPollingAttempts READ maxPollingAttempts CONSTANT)

public:
    static constexpr int kMaxPollingAttempts = 120;

    explicit CloudProcessor(const Endpoints& endpoints = Endpoints::fromEnvironment(),
                            std::chrono::milliseconds pollInterval = std::chrono::seconds(5),
                            QObject* parent = nullptr);

    ProcessingStep currentStep() const { return m_currentStep; }
    QString currentStepText() const { return ProcessingSteps::rawValue(m_currentStep); }
    double progress() const { return m_progress; }
    const std::optional<QString>& errorMessage() const { return m_errorMessage; }
    QString errorMessageText() const { return m_errorMessage.value_or(QString()); }
    const std::optional<MiningResults>& results() const { return m_results; }
    bool hasResults() const { return m_results.has_value(); }
    int maxPollingAttempts() const { return kMaxPollingAttempts; }

    // The caller shows "extracting" and "error" and writes the error message itself.
    void setCurrentStep(ProcessingStep step);
    void setErrorMessage(std::optional<QString> message);

    // A failure leaves the step where it was; the caller decides what to show.
    QCoro::Task<CloudResult<MiningResults>> processAudio(QUrl fileURL, QString token, MiningMode mode);

signals:
    void currentStepChanged();
    void progressChanged();
    void errorMessageChanged();
    void resultsChanged();

private:
    QCoro::Task<CloudResult<QString>> uploadAudio(QUrl fileURL, QString token);
    QCoro::Task<std::optional<CloudProcessorError>> startProcessing(QString jobId, QString token,
                                                                    MiningMode mode);
    QCoro::Task<CloudResult<MiningResults>> pollForResults(QString jobId, QString token);

    void setProgress(double value);
    void setResults(std::optional<MiningResults> results);

    APIClient m_api;
    std::chrono::milliseconds m_pollInterval;

    ProcessingStep m_currentStep = ProcessingStep::idle;
    double m_progress = 0;
    std::optional<QString> m_errorMessage;
    std::optional<MiningResults> m_results;
};

} // namespace ondrel
