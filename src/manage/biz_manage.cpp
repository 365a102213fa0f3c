#include <manage/biz_manage.h>

// Out of line, so that a host which names the class really links the library.
BIZ_Manage::BIZ_Manage() = default;
