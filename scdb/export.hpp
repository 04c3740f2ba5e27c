#pragma once

/// Marks what libscdb.so offers to other programs; everything else stays inside.
#define SCDB_API [[gnu::visibility("default")]]
