// The identifiers of the message store's interfaces are in no library: here they get their one definition.
#define INITGUID
#define USES_IID_IMessage
#define USES_IID_IAttachment
#define USES_IID_IMAPIProp
#define USES_IID_IMAPITable
#include <platform/mapi.h>
