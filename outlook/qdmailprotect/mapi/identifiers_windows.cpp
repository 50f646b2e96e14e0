// No library contains the identifiers of the message store's interfaces; they are defined here once.
#define INITGUID
#define USES_IID_IMessage
#define USES_IID_IAttachment
#define USES_IID_IMAPIProp
#define USES_IID_IMAPITable
#include <platform/mapi.h>
