#pragma once

#include <string>

#include "collaborators/database/connection.h"

namespace Drive::Fuzz {

/// A database in memory with the present schema and a few rows, made once.
SQLiteDB::Connection& Database();

/// Statements from now on may take so many steps together and are broken off then.
void Allow(int steps);

/// All rows of the tables that callers may reach, and the schema, as text.
std::string Rows();
std::string Schema();

/// Rolls back what an input did.
class Attempt {
public:
    Attempt();
    ~Attempt();
    Attempt(const Attempt&) = delete;
    Attempt& operator=(const Attempt&) = delete;
};

}  // namespace Drive::Fuzz
