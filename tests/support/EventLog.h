#pragma once

#include <tbrCore/CaObserver.h>
#include <tbrCore/CaSubject.h>

#include <string>
#include <vector>

/// Observes a subject while it lives and keeps the names of its events. Use it on the subject's thread.
class EventLog : public CaObserver
{
public:
    explicit EventLog(CaSubject& subject) : m_Subject(subject) { subject.addObserver(this); }
    ~EventLog() override { m_Subject.removeObserver(this); }
    EventLog(const EventLog&) = delete;
    EventLog& operator=(const EventLog&) = delete;

    void notified(CaSubject&, const char* event, void* data) override
    {
        m_Events.push_back(std::string(event) + (data ? " with data" : ""));
    }

    const std::vector<std::string>& events() const { return m_Events; }

private:
    CaSubject& m_Subject;
    std::vector<std::string> m_Events;
};
