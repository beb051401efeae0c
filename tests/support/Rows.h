#pragma once

#include <QTest>

/// The rows of a data function: their columns, then row by row a name and the values.
template <typename... Values>
class Rows
{
public:
    template <typename... Names>
    explicit Rows(Names... names)
    {
        (QTest::addColumn<Values>(names), ...);
    }
    void operator()(const char *name, const Values &...values) const
    {
        (QTest::newRow(name) << ... << values);
    }
};
