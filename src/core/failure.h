#pragma once

#include <QString>

#include <exception>
#include <stdexcept>

namespace velotte {

// Base of every failure that has a sentence for the status line.
class Failure : public std::runtime_error {
public:
    explicit Failure(const QString &detail) : std::runtime_error(detail.toStdString()) {}
    virtual QString sentence() const = 0;
};

// A reply body that does not have the shape its record needs.
class DecodeError : public Failure {
public:
    using Failure::Failure;
    QString sentence() const override
    {
        return QStringLiteral("The data couldn’t be read because it isn’t in the correct format.");
    }
};

// The sentence shown for any failure; a plain exception gets a generic one.
QString sentenceOf(const std::exception &error);

} // namespace velotte
