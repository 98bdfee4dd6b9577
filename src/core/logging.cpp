#include "logging.h"

Q_LOGGING_CATEGORY(lcNet, "velotte.net", QtWarningMsg)
Q_LOGGING_CATEGORY(lcCloud, "velotte.cloud", QtWarningMsg)
Q_LOGGING_CATEGORY(lcAuth, "velotte.auth", QtWarningMsg)
Q_LOGGING_CATEGORY(lcLocal, "velotte.local", QtWarningMsg)
Q_LOGGING_CATEGORY(lcSession, "velotte.session", QtWarningMsg)
Q_LOGGING_CATEGORY(lcNews, "velotte.news", QtWarningMsg)
Q_LOGGING_CATEGORY(lcNotes, "velotte.notes", QtWarningMsg)
Q_LOGGING_CATEGORY(lcBrowse, "velotte.browse", QtWarningMsg)
Q_LOGGING_CATEGORY(lcApp, "velotte.app", QtWarningMsg)
