/*
 * A whole status monitor in one file, as small as it goes:
 *
 *   monitor LIBRARY PRINTER...
 *
 * It loads the library, asks each printer for its channels and its device ID, and prints
 * what comes. Names of printers are in the ANSI code page, as the command line gives them.
 */
#include <windows.h>

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "vlpbidi.h"

/* The largest table that this program was written for. */
#define NAME_SIZE 260
#define ENTRIES 11

static const ProviderTable* table;
static HANDLE taken; /* set for each result */

/* The one thread that sits in GetResult. It ends when Terminate is called. */
static DWORD WINAPI take_results(void* unused) {
  uint32_t capacity = 64;
  uint8_t* buffer = malloc(capacity);
  (void)unused;
  while (buffer != NULL) {
    uint32_t request = 0;
    uint32_t size = capacity;
    const int32_t result = table->GetResult(&request, buffer, &size);
    if (result == VLPER_BUFFERSIZE && size > capacity) {
      /* The result still lies in the queue; size says what it needs. */
      free(buffer);
      capacity = size;
      buffer = malloc(capacity);
      continue;
    }
    if (result < 0) {
      break; /* VLPER_TERMINATE, or a queue that can't be used */
    }
    /* Device IDs are bytes, not a terminated text. */
    printf("request %u: %d bytes: ", (unsigned)request, (int)result);
    fwrite(buffer, 1, (size_t)result, stdout);
    printf("\n");
    fflush(stdout);
    SetEvent(taken);
  }
  free(buffer);
  return 0;
}

static void ask(uint32_t request, const char* printer) {
  char prefixed[sizeof("UFName:") + NAME_SIZE];
  char name[NAME_SIZE];
  uint64_t entries[ENTRIES];
  int32_t result;
  if (strlen(printer) >= NAME_SIZE) {
    printf("%s: the name is too long\n", printer);
    return;
  }
  snprintf(prefixed, sizeof(prefixed), "UFName:%s", printer);
  result = table->GetConnectInf(prefixed, name, entries);
  printf("%s: GetConnectInf gives %d\n", printer, (int)result);
  for (int32_t index = 0; index < result; ++index) {
    printf("  channel %08x, mode %04x\n", (unsigned)(entries[index] & 0xFFFFFFFFu),
           (unsigned)(entries[index] >> 32));
  }
  fflush(stdout);
  if (result > 0) {
    result = table->GetDeviceID(request, name);
    if (result < 0) {
      printf("%s: GetDeviceID gives %d\n", printer, (int)result);
    } else {
      /* The answer lies in the queue by now; let the other thread print it. */
      WaitForSingleObject(taken, INFINITE);
    }
  }
}

int main(int argc, char** argv) {
  HMODULE library;
  HANDLE taker;
  VlpGetProviderInfoCall get_provider_info;
  if (argc < 3) {
    fprintf(stderr, "usage: monitor LIBRARY PRINTER...\n");
    return 2;
  }
  library = LoadLibraryA(argv[1]);
  if (library == NULL) {
    fprintf(stderr, "can't load %s: error %u\n", argv[1], (unsigned)GetLastError());
    return 2;
  }
  get_provider_info =
      (VlpGetProviderInfoCall)(void (*)(void))GetProcAddress(library, "VLPGetProviderInfo");
  if (get_provider_info == NULL || get_provider_info(&table) != 0 || table->operationCount < 7 ||
      table->maxNameSize > NAME_SIZE || table->maxConnectEntries > ENTRIES) {
    fprintf(stderr, "%s is not the library that this program knows\n", argv[1]);
    return 2;
  }
  taken = CreateEventA(NULL, FALSE, FALSE, NULL);
  taker = taken == NULL ? NULL : CreateThread(NULL, 0, take_results, NULL, 0, NULL);
  if (taker == NULL) {
    fprintf(stderr, "can't start the thread that takes results\n");
    return 2;
  }

  for (int index = 2; index < argc; ++index) {
    ask((uint32_t)index - 1, argv[index]);
  }

  /* First Terminate, which ends GetResult; then the thread; the library last. What is still
     queued is never delivered. */
  table->Terminate();
  WaitForSingleObject(taker, INFINITE);
  CloseHandle(taker);
  CloseHandle(taken);
  FreeLibrary(library);
  return 0;
}
