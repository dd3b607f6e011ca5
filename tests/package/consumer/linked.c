/* Linked with the library; tells what its table says of itself. */
#include <stdio.h>

#include "vlpbidi.h"

int main(void) {
  const ProviderTable* table = NULL;
  if (VLPGetProviderInfo(&table) != 0) return 1;
  printf("%u operations\n", (unsigned)table->operationCount);
  return 0;
}
