// The engine's whole public interface.
#pragma once

#include "engine/api/api_change_manager.h"
#include "engine/api/api_info.h"
#include "engine/api/api_item.h"
#include "engine/api/api_log_manager.h"
#include "engine/api/api_node.h"
#include "engine/api/api_node_graph.h"
#include "engine/api/api_project_manager.h"
#include "engine/api/api_render_engine.h"
#include "engine/api/api_time_sampling.h"
#include "engine/api/ids.h"
#include "engine/api/shared_mode.h"
#include "engine/api/types.h"
#include "engine/api/vdb_info.h"
#include "engine/api/write_journal.h"
