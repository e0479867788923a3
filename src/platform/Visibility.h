#pragma once

// What the shared library exports. Its code is compiled with hidden
// visibility, and every installed header opens its namespace with
// SKYLARK_API: whatever an application can name is exported, and nothing
// else (file-local helpers, private headers) is. Static builds see the same
// attribute, where it changes nothing.
#define SKYLARK_API [[gnu::visibility("default")]]
